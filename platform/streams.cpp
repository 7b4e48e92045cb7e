#include "platform/streams.h"

btkStreamBase::~btkStreamBase() = default;
