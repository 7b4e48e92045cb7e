#include "idl_types.h"

#include <map>
#include <utility>

#include "messages/jex_proxy.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "serialization/descriptors.h"
#include "support/proxy_support.h"
#include "support/sequence_types.h"
#include "support/type_support.h"

namespace jextools {
namespace {

using jexgen::Definition;
using jexgen::DefinitionKind;
using jexgen::TypeKind;
using jexgen::TypeRef;

// What has been registered. Made on first use and never freed: the runtime borrows the
// types and descriptors for the rest of the process.
class FieldsDescriptor;
class ProxyDescriptor;

struct Registry {
  std::vector<std::unique_ptr<jexgen::Document>> documents;
  std::map<std::string, const Definition*> definitions;
  // The descriptor of each struct and exception, also when another type has taken its
  // name in the runtime's registry since.
  std::map<const Definition*, FieldsDescriptor*> descriptors;
  std::vector<ProxyDescriptor*> interfaces;
};

Registry& registry() {
  static Registry* r = new Registry();
  return *r;
}

xrttiobject* MakeRtti(const std::string& name, xrttiobject* parent) {
  auto* rtti = new xrttiobject();
  initializeRttiObject(rtti, name.c_str(), 0, 0, parent);
  return rtti;
}

class IdlStruct : public xobject, public IdlFields {
 public:
  IdlStruct(xrttiobject* rtti, const Definition& definition, std::vector<xany> values)
      : IdlFields(definition, std::move(values)), rtti_(rtti) {}
  xrttiobject* getRtti() const override { return rtti_; }

 private:
  xrttiobject* rtti_;
};

// Its description is its first string field, or its type name when it has none, as in
// the generated exception classes.
class IdlException : public zubXException, public IdlFields {
 public:
  IdlException(xrttiobject* rtti, const Definition& definition, std::vector<xany> values)
      : zubXException(""), IdlFields(definition, std::move(values)), rtti_(rtti) {
    describe();
  }
  xrttiobject* getRtti() const override { return rtti_; }
  void describe() {
    const std::vector<jexgen::Field>& fields = definition().fields;
    for (size_t i = 0; i < fields.size(); ++i) {
      if (fields[i].type.kind == TypeKind::kString) {
        const xstring text = values()[i].toString();
        setDescription(text.IsNil() ? xstring("") : text);
        return;
      }
    }
    setDescription(xstring(definition().name.c_str()));
  }

 private:
  xrttiobject* rtti_;
};

class IdlProxy : public zubSupportProxy {
 public:
  explicit IdlProxy(xrttiobject* rtti) : rtti_(rtti) {}
  xrttiobject* getRtti() const override { return rtti_; }

 private:
  xrttiobject* rtti_;
};

void WriteField(zubSerializer& out, const TypeRef& type, const xany& v) {
  switch (type.kind) {
    case TypeKind::kBool:
      return out.writeBool(v.toBool() == 1 ? 1 : 0);
    case TypeKind::kByte:
      return out.writeByte(v.toByte());
    case TypeKind::kShort:
      return out.writeShort(v.toShort());
    case TypeKind::kInt:
      return out.writeInt(v.toInt());
    case TypeKind::kLong:
      return out.writeLong(v.toLong());
    case TypeKind::kReal:
      return out.writeReal(v.toReal());
    case TypeKind::kString:
      return out.writeString(v.toString());
    case TypeKind::kAny:
      return out.writeAny(v);
    default:
      return out.writeObject(v.isobject() ? v.toObject() : nullptr);
  }
}

template <class T>
xany ReadAs(zubDeserializer& in, void (zubDeserializer::*read)(T&)) {
  T value{};
  (in.*read)(value);
  return xany(value);
}

xany ReadField(zubDeserializer& in, const TypeRef& type) {
  switch (type.kind) {
    case TypeKind::kBool: {
      xbool b = 0;
      in.readBool(b);
      return xany(static_cast<xbool>(b != 0 && b != XBOOL_NIL ? 1 : 0));
    }
    case TypeKind::kByte:
      return ReadAs<signed char>(in, &zubDeserializer::readByte);
    case TypeKind::kShort:
      return ReadAs<short>(in, &zubDeserializer::readShort);
    case TypeKind::kInt:
      return ReadAs<int>(in, &zubDeserializer::readInt);
    case TypeKind::kLong:
      return ReadAs<int64_t>(in, &zubDeserializer::readLong);
    case TypeKind::kReal:
      return ReadAs<double>(in, &zubDeserializer::readReal);
    case TypeKind::kString:
      return ReadAs<xstring>(in, &zubDeserializer::readString);
    case TypeKind::kAny:
      return ReadAs<xany>(in, &zubDeserializer::readAny);
    default: {
      xobject* o = nullptr;
      in.readObject(o);
      return o != nullptr ? xany(o) : xany::Nil();
    }
  }
}

// The descriptor of a described struct or exception: its fields in declaration order.
class FieldsDescriptor : public zubBinS11nRtti {
 public:
  FieldsDescriptor(xrttiobject* rtti, const Definition& definition)
      : rtti_(rtti), definition_(definition) {}

  void* create() override {
    std::vector<xany> values;
    for (const jexgen::Field& f : definition_.fields) values.push_back(IdlDefaultValue(f.type));
    return make(std::move(values));
  }
  xobject* cast(void* instance) override { return static_cast<xobject*>(instance); }
  void serialize(zubSerializer* out, xrcunihandle<xobject> object) override {
    const IdlFields* fields = IdlFieldsOf(object.get());
    for (size_t i = 0; i < definition_.fields.size(); ++i) {
      WriteField(*out, definition_.fields[i].type, fields->values()[i]);
    }
  }
  void deserialize(zubDeserializer* in, void* instance) override {
    xobject* object = static_cast<xobject*>(instance);
    IdlFields* fields = const_cast<IdlFields*>(IdlFieldsOf(object));
    for (size_t i = 0; i < definition_.fields.size(); ++i) {
      fields->values()[i] = ReadField(*in, definition_.fields[i].type);
    }
    if (auto* e = dynamic_cast<IdlException*>(object)) e->describe();
  }

  xobject* make(std::vector<xany> values) const {
    if (definition_.kind == DefinitionKind::kException) {
      return new IdlException(rtti_, definition_, std::move(values));
    }
    return new IdlStruct(rtti_, definition_, std::move(values));
  }

 private:
  xrttiobject* rtti_;
  const Definition& definition_;
};

// The descriptor of an interface: proxies of its type, and no call generators.
class ProxyDescriptor : public zubBinS11nRttiProxy {
 public:
  explicit ProxyDescriptor(xrttiobject* rtti)
      : zubBinS11nRttiProxy(nullptr, nullptr, nullptr), rtti_(rtti) {}
  void* create() override { return static_cast<xobject*>(new IdlProxy(rtti_)); }
  xobject* cast(void* instance) override { return static_cast<xobject*>(instance); }

 private:
  xrttiobject* rtti_;
};

zubBinS11nRttiProxy* RegisterInterface(const std::string& name) {
  xrttiobject* rtti = MakeRtti(name, xobject::getClassRtti());
  auto* descriptor = new ProxyDescriptor(rtti);
  registry().interfaces.push_back(descriptor);
  zubSupportRegisterDescriptor(rtti, descriptor);
  return descriptor;
}

void RegisterDefinition(const Definition& d) {
  registry().definitions[d.name] = &d;
  if (d.kind == DefinitionKind::kInterface) {
    RegisterInterface(d.name);
    return;
  }
  xrttiobject* parent = d.kind == DefinitionKind::kException ? zubXException::getClassRtti()
                                                             : xobject::getClassRtti();
  xrttiobject* rtti = MakeRtti(d.name, parent);
  auto* descriptor = new FieldsDescriptor(rtti, d);
  registry().descriptors[&d] = descriptor;
  zubSupportRegisterDescriptor(rtti, descriptor);
}

}  // namespace

const IdlFields* IdlFieldsOf(xobject* object) { return dynamic_cast<const IdlFields*>(object); }

void IdlRegister(std::unique_ptr<jexgen::Document> doc) {
  zubSupportRegisterSequenceTypes();
  for (const Definition& d : doc->definitions) RegisterDefinition(d);
  registry().documents.push_back(std::move(doc));
}

const Definition* IdlFind(const std::string& name) {
  auto found = registry().definitions.find(name);
  return found != registry().definitions.end() ? found->second : nullptr;
}

const jexgen::Method* IdlFindMethod(const std::string& interfaceName, const std::string& method) {
  const Definition* d = IdlFind(interfaceName);
  if (d == nullptr || d->kind != DefinitionKind::kInterface) return nullptr;
  for (const jexgen::Method& m : d->methods) {
    if (m.name == method) return &m;
  }
  return nullptr;
}

xobject* IdlMakeObject(const Definition& definition, std::vector<xany> values) {
  return registry().descriptors.at(&definition)->make(std::move(values));
}

xany IdlDefaultValue(const TypeRef& type) {
  switch (type.kind) {
    case TypeKind::kBool:
      return xany(static_cast<xbool>(0));
    case TypeKind::kByte:
      return xany(static_cast<xbyte>(0));
    case TypeKind::kShort:
      return xany(static_cast<xshort>(0));
    case TypeKind::kInt:
      return xany(static_cast<xint>(0));
    case TypeKind::kLong:
      return xany(static_cast<xlong>(0));
    case TypeKind::kReal:
      return xany(0.0);
    case TypeKind::kString:
      return xany(xstring(""));
    case TypeKind::kAny:
      return xany();
    case TypeKind::kList:
      if (type.element->kind == TypeKind::kString) {
        return xany(static_cast<xobject*>(xstringsequence::create()));
      }
      return xany(static_cast<xobject*>(xanysequence::create()));
    default:
      return xany::Nil();
  }
}

bool IdlEnsureInterface(const std::string& interfaceName) {
  zubBinS11nRtti* found = zubBinS11nRttiGetDescriptor(interfaceName.c_str());
  if (found == nullptr) RegisterInterface(interfaceName);
  return found == nullptr || found->isProxy(nullptr);
}

xrcunihandle<xobject> IdlMakeProxy(const std::string& interfaceName, const xstring& server,
                                   const xstring& id) {
  zubBinS11nRttiProxy* proxy = nullptr;
  if (!IdlEnsureInterface(interfaceName) ||
      !zubBinS11nRttiGetDescriptor(interfaceName.c_str())->isProxy(&proxy)) {
    return xrcunihandle<xobject>();
  }
  return proxy->createProxy(server.CastToCString(), id.CastToCString());
}

xrtti* IdlResultType(const TypeRef& type) {
  switch (type.kind) {
    case TypeKind::kBool:
      return zubGetRtti_bool();
    case TypeKind::kByte:
      return zubGetRtti_byte();
    case TypeKind::kShort:
      return zubGetRtti_short();
    case TypeKind::kInt:
      return zubGetRtti_int();
    case TypeKind::kLong:
      return zubGetRtti_long();
    case TypeKind::kReal:
      return zubGetRtti_real();
    case TypeKind::kString:
      return zubGetRtti_string();
    case TypeKind::kAny:
      return zubGetRtti_any();
    case TypeKind::kStringSequence:
      return xstringsequence::getClassRtti();
    case TypeKind::kAnySequence:
      return xanysequence::getClassRtti();
    case TypeKind::kList:
      return type.element->kind == TypeKind::kString ? xstringsequence::getClassRtti()
                                                     : xanysequence::getClassRtti();
    case TypeKind::kNamed:
      return zubRttiGetFromMap(type.name.c_str());
  }
  return nullptr;
}

}  // namespace jextools
