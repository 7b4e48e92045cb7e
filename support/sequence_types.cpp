#include "support/sequence_types.h"

#include "platform/sequences.h"
#include "serialization/sequence_descriptors.h"
#include "support/type_support.h"

void zubSupportRegisterSequenceTypes() {
  static const bool registered = [] {
    zubSupportRegisterDescriptor(xstringsequence::getClassRtti(), zubBinStringSequenceDescriptor());
    zubSupportRegisterDescriptor(xanysequence::getClassRtti(), zubBinAnySequenceDescriptor());
    return true;
  }();
  (void)registered;
}
