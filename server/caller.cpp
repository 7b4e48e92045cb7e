#include "server/caller.h"

#include "server/detail/caller_scope.h"

namespace {

const zubJexCaller kNobody;
thread_local const zubJexCaller* current = &kNobody;

}  // namespace

const zubJexCaller& zubJexCurrentCaller() { return *current; }

zubJexCallerScope::zubJexCallerScope(const zubJexCaller& caller) { current = &caller; }

zubJexCallerScope::~zubJexCallerScope() { current = &kNobody; }
