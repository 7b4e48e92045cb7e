#include "serialization/sequence_rtti.h"

#include "platform/exceptions.h"

void zubBinCheckSequenceCount(int32_t count) {
  if (count < 0) xthrowException("invalid sequence count");
}
