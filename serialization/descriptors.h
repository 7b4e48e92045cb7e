// Type descriptors: how objects of a type are created, written and read by type name.
//
// Descriptors are registered under the key "bins11n" in the runtime's type registry
// (zubRttiSetUserData) by the host, outside this library, which only looks them up.
// The host owns them and keeps them alive while they are used; the library never frees
// one. Descriptors are only read after registration, from any number of threads.
#ifndef ZUBJEX_SERIALIZATION_DESCRIPTORS_H_
#define ZUBJEX_SERIALIZATION_DESCRIPTORS_H_

#include "platform/dictionaries.h"
#include "platform/handles.h"
#include "platform/sequences.h"
#include "serialization/export.h"
#include "serialization/serializer.h"

class zubJexCall;
class zubBinS11nRttiProxy;

// The key under which descriptors are registered.
#define ZUB_BINS11N_KEY "bins11n"

class ZUBJEX_EXPORT zubBinS11nRtti {
 public:
  zubBinS11nRtti() = default;
  virtual ~zubBinS11nRtti() = default;
  // True for a remote interface's descriptor, which it then stores through `proxy`
  // when that is not null; false (and `proxy` untouched) for an ordinary one.
  virtual bool isProxy(zubBinS11nRttiProxy** proxy) { return false; }
  // A new, empty instance in the type's own terms (not yet an xobject*).
  virtual void* create() = 0;
  // The instance that create() made, as an xobject*.
  virtual xobject* cast(void* instance) = 0;
  // Writes the object's contents; releases `object` in every case.
  virtual void serialize(zubSerializer* serializer, xrcunihandle<xobject> object) = 0;
  // Reads the contents into an instance that create() made.
  virtual void deserialize(zubDeserializer* deserializer, void* instance) = 0;
};

// An ordinary descriptor made of four functions. createFn and castFn must not be null;
// serializeFn and deserializeFn may be (no contents on the wire).
class ZUBJEX_EXPORT zubBinS11nRttiInterface : public zubBinS11nRtti {
 public:
  typedef void* (*CreateFn)();
  typedef xobject* (*CastFn)(void*);
  typedef void (*SerializeFn)(zubSerializer*, xrcunihandle<xobject>);
  typedef void (*DeserializeFn)(zubDeserializer*, void*);

  zubBinS11nRttiInterface(CreateFn createFn, CastFn castFn, SerializeFn serializeFn,
                          DeserializeFn deserializeFn)
      : createFn(createFn),
        castFn(castFn),
        serializeFn(serializeFn),
        deserializeFn(deserializeFn) {}

  void* create() override { return createFn(); }
  xobject* cast(void* instance) override { return castFn(instance); }
  void serialize(zubSerializer* serializer, xrcunihandle<xobject> object) override;
  void deserialize(zubDeserializer* deserializer, void* instance) override;

 protected:
  CreateFn createFn;
  CastFn castFn;
  SerializeFn serializeFn;
  DeserializeFn deserializeFn;
};

// A call generator: fills a call record for one method from the parameter values.
typedef void (*zubJexCallGenerator)(zubJexCall&, xrchandle<xanysequence>);

// The descriptor of a remote interface: no contents of its own (a proxy's identity
// travels as listener data), a table of call generators by method name, and the
// creation of proxies bound to a server.
class ZUBJEX_EXPORT zubBinS11nRttiProxy : public zubBinS11nRttiInterface {
 public:
  // `methods` may be null (no method can be called); borrowed.
  zubBinS11nRttiProxy(CreateFn createFn, CastFn castFn, xtsdictionary<zubJexCallGenerator>* methods)
      : zubBinS11nRttiInterface(createFn, castFn, nullptr, nullptr), methods(methods) {}

  bool isProxy(zubBinS11nRttiProxy** proxy) override;
  // Fills `call` with the method's generator and returns true; false when there is no
  // method table or no entry for the method. Releases `params` in every case.
  bool createCall(zubJexCall& call, const char* methodName, xrchandle<xanysequence> params);
  // A new proxy bound to the server URL and the proxy id. Every instance of a proxy
  // descriptor answers zubS11nCastToJexProxy.
  xrcunihandle<xobject> createProxy(const char* serverUrl, const char* proxyId);

 protected:
  xtsdictionary<zubJexCallGenerator>* methods;
};

// The "bins11n" descriptor of the named type, or null when it has none.
ZUBJEX_EXPORT zubBinS11nRtti* zubBinS11nRttiGetDescriptor(const char* typeName);

#endif  // ZUBJEX_SERIALIZATION_DESCRIPTORS_H_
