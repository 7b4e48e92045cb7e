#include "support/type_support.h"

#include "platform/rtti_registry.h"

void zubSupportRegisterDescriptor(xrttiobject* type, zubBinS11nRtti* descriptor) {
  zubRttiRegister(type);
  xstring name = type->getName();
  zubRttiSetUserData(name.CastToCString(), ZUB_BINS11N_KEY, descriptor);
}
