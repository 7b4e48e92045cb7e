// The transport-independent core of a JEX server: reads one call message, finds the
// target object and the method, runs it and writes the response message.
//
//   zubJexMethodTable calc;
//   calc.add("add", [](xobject* self, zubJexCall& call) -> xany {
//     return call.getParamByName("a").toInt() + call.getParamByName("b").toInt();
//   });
//   zubJexDispatcher dispatcher;
//   dispatcher.addInterface("ICalc", calc);
//   dispatcher.setRootObject(root, "calc");     // clients: getRootObject("ICalc", "calc")
//
// Which object a call is for: a call named "<Interface>:<method>" whose first parameter
// is named "this" goes to the object that parameter names (the reader resolves the
// proxy's identifier through the dispatcher's object map; an identifier that names
// nothing, or an object the map has dropped, is answered with an UnknownObject fault
// "unknown object <id>"); a call without "this" goes
// to the root object of <Interface>. The method is looked up in the table of the
// target's type name. The answer is named "<method>Response" and is
//   - a value response (kind 2) when the handler returns a value,
//   - a void response (kind 1) when it returns the uninit value,
//   - a fault (kind 3) when it raises, or when the target or method is unknown or the
//     message cannot be read. A raised zubXException becomes the fault code (its type
//     name) and text (its description), and its detail is the exception itself when
//     its type has a "bins11n" descriptor, so that the client raises the very object;
//     otherwise the detail is nil.
// One-way calls get no answer at all, whatever the handler does.
#ifndef ZUBJEX_SERVER_DISPATCHER_H_
#define ZUBJEX_SERVER_DISPATCHER_H_

#include <functional>
#include <string>
#include <unordered_map>

#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "platform/memory_streams.h"
#include "platform/streams.h"
#include "platform/xany.h"
#include "server/export.h"
#include "server/object_map.h"

// Fault codes of failures that the dispatcher detects itself.
#define ZUBJEX_FAULT_UNKNOWN_OBJECT "UnknownObject"
#define ZUBJEX_FAULT_UNKNOWN_METHOD "UnknownMethod"
#define ZUBJEX_FAULT_BAD_REQUEST "BadRequest"
#define ZUBJEX_FAULT_SERVER_ERROR "ServerError"

// Runs one method on `target` (never null; the object the call is for) with the
// call's parameters (by name with getParamByName, "this" included). Returns the result,
// or the uninit value for a method without one; may raise an xthrowable or a standard
// exception, which the dispatcher turns into a fault. Handlers of one dispatcher run on
// several threads at once when the server serves several connections.
typedef std::function<xany(xobject* target, zubJexCall& call)> zubJexMethodHandler;

// The methods of one interface by name. A value type, filled before it is added.
class ZUBJEX_SERVER_EXPORT zubJexMethodTable {
 public:
  // Adds or replaces the handler of `method`.
  zubJexMethodTable& add(const std::string& method, zubJexMethodHandler handler);
  // The handler of `method`, or null.
  const zubJexMethodHandler* find(const std::string& method) const;

 private:
  std::unordered_map<std::string, zubJexMethodHandler> methods_;
};

// Dispatches calls to registered objects. Register interfaces and root objects before
// the first dispatch; after that, dispatch may run on any number of threads at once.
class ZUBJEX_SERVER_EXPORT zubJexDispatcher {
 public:
  // `objects` bounds the objects that the dispatcher's map hands out to clients.
  explicit zubJexDispatcher(const zubJexObjectMapOptions& objects = zubJexObjectMapOptions());
  zubJexDispatcher(const zubJexDispatcher&) = delete;
  zubJexDispatcher& operator=(const zubJexDispatcher&) = delete;

  // The methods of objects whose type name is `interfaceName` (replacing earlier ones).
  void addInterface(const std::string& interfaceName, zubJexMethodTable table);
  // Publishes `object` under `id` and makes it the root object of its type name, the
  // target of calls of that interface without "this". The object map keeps a
  // reference on it.
  void setRootObject(xobject* object, const std::string& id);
  // The map of published objects, also the proxy map of every message the dispatcher
  // reads and writes.
  zubJexServerObjectMap& objects() { return objects_; }

  // Reads one call message from `request`, runs it and writes the response message
  // into `response` (cleared first). Returns false, with `response` empty, for a
  // one-way call. `peer` names the client (never nil): proxies of the client's own
  // objects read from the call are bound to it. Never raises for a bad message: it is
  // answered with a fault.
  bool dispatch(btkIStream* request, btkMemOStream& response, const xstring& peer);

 private:
  // Runs the call; fills `response` with a value, void or fault answer.
  void invoke(zubJexCall& call, zubJexResponse& response);
  // The object the call is for, or null with a fault already in `response`.
  xrcunihandle<xobject> findTarget(zubJexCall& call, const std::string& interfaceName,
                                   zubJexResponse& response);
  void writeAnswer(btkMemOStream& out, zubJexResponse& response);

  std::unordered_map<std::string, zubJexMethodTable> interfaces_;
  std::unordered_map<std::string, xstring> rootIds_;  // interface -> object id
  zubJexServerObjectMap objects_;
};

// Fills `response` as a fault of `code` and `text` with a nil detail.
ZUBJEX_SERVER_EXPORT void zubJexSetFault(zubJexResponse& response, const char* code,
                                         const std::string& text);

#endif  // ZUBJEX_SERVER_DISPATCHER_H_
