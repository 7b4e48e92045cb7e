// The value types, exceptions and remote interfaces of ".jex" descriptions, made known to
// the runtime while a tool runs, without generated code: a tool reads a description
// (jexgen's front end) and can then write, read and print objects of its types.
//
// An object of a described struct or exception holds its fields as values, in the order
// of the description, and is written exactly as the class that jexgen generates for the
// type writes it: the same bytes, field by field. A proxy of a described (or merely
// named) interface carries its server and id as every proxy does; it has no call
// generators, so a tool builds its calls itself from the described methods.
//
// Registration is for start-up, on one thread, before any message is read or written.
// Types and descriptors live until the process ends.
#ifndef ZUBJEX_TOOLS_IDL_TYPES_H_
#define ZUBJEX_TOOLS_IDL_TYPES_H_

#include <memory>
#include <string>
#include <vector>

#include "ast.h"
#include "platform/handles.h"
#include "platform/xany.h"
#include "platform/xobject.h"

namespace jextools {

// The fields of an object of a described struct or exception.
class IdlFields {
 public:
  IdlFields(const jexgen::Definition& definition, std::vector<xany> values)
      : definition_(definition), values_(std::move(values)) {}
  virtual ~IdlFields() = default;

  const jexgen::Definition& definition() const { return definition_; }
  // One value per field of the definition, of the field's kind.
  const std::vector<xany>& values() const { return values_; }
  std::vector<xany>& values() { return values_; }

 private:
  const jexgen::Definition& definition_;
  std::vector<xany> values_;
};

// The fields of `object` when it is of a described struct or exception; null otherwise
// (also for null).
const IdlFields* IdlFieldsOf(xobject* object);

// Registers the runtime's sequence types and every struct, exception and interface of
// `doc`, a checked document, under its name (replacing what had that name). Keeps the
// document for the rest of the process.
void IdlRegister(std::unique_ptr<jexgen::Document> doc);

// The definition of that name in a registered document; null when there is none.
const jexgen::Definition* IdlFind(const std::string& name);

// The method of a registered interface; null when either is not described.
const jexgen::Method* IdlFindMethod(const std::string& interfaceName, const std::string& method);

// A new object (no reference yet) of a struct of a registered document, with the given
// values (one per field, of the field's kind: the caller checks them).
xobject* IdlMakeObject(const jexgen::Definition& definition, std::vector<xany> values);

// The value of a field that no one set, as jexgen's generated classes start it: false, 0,
// the empty string, an empty list, uninit for `any`, null for other objects.
xany IdlDefaultValue(const jexgen::TypeRef& type);

// Makes sure that proxies of the interface can be made, written and read: an interface
// that no description names and no type of that name has a descriptor for gets a proxy
// type of its own, without methods. False when the name has a descriptor that is no
// interface's.
bool IdlEnsureInterface(const std::string& interfaceName);

// A proxy of the interface (see IdlEnsureInterface) bound to the server and the id; null
// when the name is no interface's.
xrcunihandle<xobject> IdlMakeProxy(const std::string& interfaceName, const xstring& server,
                                   const xstring& id);

// The type that a call declares for a result of `type`, as generated calls declare it.
xrtti* IdlResultType(const jexgen::TypeRef& type);

}  // namespace jextools

#endif  // ZUBJEX_TOOLS_IDL_TYPES_H_
