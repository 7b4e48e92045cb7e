// Short declarations of a host's ordinary serializable types.
//
// A type T (a class derived from xobject, with XOBJECT_DECLARE_RTTI and a default
// constructor) becomes serializable by type name with two functions that write and
// read its contents through the encoding-neutral interfaces:
//
//   void WritePoint(zubSerializer& out, const Point& p) { out.writeInt(p.x); ... }
//   void ReadPoint(zubDeserializer& in, Point& p) { in.readInt(p.x); ... }
//   zubSupportRegisterType<Point, &WritePoint, &ReadPoint>();
//
// Registration is meant for start-up, once per type (a host's registration function
// typically guards itself with a function-local static); descriptors are never freed.
#ifndef ZUBJEX_SUPPORT_TYPE_SUPPORT_H_
#define ZUBJEX_SUPPORT_TYPE_SUPPORT_H_

#include "platform/handles.h"
#include "platform/xobject.h"
#include "serialization/descriptors.h"
#include "serialization/serializer.h"
#include "support/export.h"

// Registers `type` in the runtime's type registry and `descriptor` under "bins11n" for
// the type's name (both replacing earlier ones of that name). Both are borrowed for the
// rest of the process.
ZUBJEX_SUPPORT_EXPORT void zubSupportRegisterDescriptor(xrttiobject* type,
                                                        zubBinS11nRtti* descriptor);

// The create and cast functions of a descriptor for T: a new T with no reference yet,
// and that instance as an xobject*.
template <class T>
void* zubSupportCreate() {
  return new T();
}
template <class T>
xobject* zubSupportCast(void* instance) {
  return static_cast<T*>(instance);
}

// Adapters from typed content functions to a descriptor's untyped ones.
template <class T, void (*Write)(zubSerializer&, const T&)>
void zubSupportSerializeAs(zubSerializer* out, xrcunihandle<xobject> object) {
  Write(*out, *static_cast<const T*>(object.get()));
}
template <class T, void (*Read)(zubDeserializer&, T&)>
void zubSupportDeserializeAs(zubDeserializer* in, void* instance) {
  Read(*in, *static_cast<T*>(instance));
}

// Declares T (type name: that of T::getClassRtti()) with its content functions and
// returns the new descriptor.
template <class T, void (*Write)(zubSerializer&, const T&), void (*Read)(zubDeserializer&, T&)>
zubBinS11nRttiInterface* zubSupportRegisterType() {
  auto* descriptor = new zubBinS11nRttiInterface(&zubSupportCreate<T>, &zubSupportCast<T>,
                                                 &zubSupportSerializeAs<T, Write>,
                                                 &zubSupportDeserializeAs<T, Read>);
  zubSupportRegisterDescriptor(T::getClassRtti(), descriptor);
  return descriptor;
}

#endif  // ZUBJEX_SUPPORT_TYPE_SUPPORT_H_
