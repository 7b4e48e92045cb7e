// Makes a connection's caller the current one (server/caller.h) while its call runs.
#ifndef ZUBJEX_SERVER_DETAIL_CALLER_SCOPE_H_
#define ZUBJEX_SERVER_DETAIL_CALLER_SCOPE_H_

#include "server/caller.h"

// For the current thread, from construction to destruction; `caller` is borrowed and
// outlives the scope. Scopes do not nest.
class zubJexCallerScope {
 public:
  explicit zubJexCallerScope(const zubJexCaller& caller);
  ~zubJexCallerScope();
  zubJexCallerScope(const zubJexCallerScope&) = delete;
  zubJexCallerScope& operator=(const zubJexCallerScope&) = delete;
};

#endif  // ZUBJEX_SERVER_DETAIL_CALLER_SCOPE_H_
