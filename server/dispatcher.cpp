#include "server/dispatcher.h"

#include <exception>
#include <utility>

#include "messages/jex_proxy.h"
#include "messages/jex_serializer.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"

namespace {

struct CallName {
  std::string interfaceName;  // empty when the call name has no "<Interface>:" part
  std::string method;
};

CallName SplitCallName(const xstring& name) {
  std::string text(name.CastToCString(), name.GetMBSize());
  size_t colon = text.find(':');
  if (colon == std::string::npos || text.find(':', colon + 1) != std::string::npos) {
    return {std::string(), text};
  }
  return {text.substr(0, colon), text.substr(colon + 1)};
}

std::string Text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

// The name of the response to calls of `method`, "<method>Response". The thread keeps
// the last one it made, so that a thread serving calls of one method makes it once.
xstring ResponseName(const std::string& method) {
  thread_local std::string lastMethod;
  thread_local xstring lastName;
  if (lastName.IsEmpty() || method != lastMethod) {
    lastName = xstring((method + "Response").c_str());
    lastMethod = method;
  }
  return lastName;
}

// The description of a throwable followed by those of its causes, joined by ": ".
std::string DescribeChain(xthrowable* thrown) {
  zubXException* ex = zubXException::softcast(thrown);
  if (ex == nullptr) return Text(thrown->getZubTypeName());
  std::string text = Text(ex->getDescription());
  for (xrchandle<zubXException> c = ex->getCause(); c; c = c->getCause()) {
    text += ": " + Text(c->getDescription());
  }
  return text;
}

// A fault that reports a raised throwable; the throwable itself travels as the detail
// when the client can read it back (its type has a descriptor).
void SetFaultFromThrowable(zubJexResponse& response, xthrowable* thrown) {
  zubXException* ex = zubXException::softcast(thrown);
  xstring typeName = thrown->getZubTypeName();
  std::string code = typeName.IsEmpty() ? ZUBJEX_FAULT_SERVER_ERROR : Text(typeName);
  zubJexSetFault(response, code.c_str(), ex != nullptr ? Text(ex->getDescription()) : "");
  if (ex != nullptr && zubBinS11nRttiGetDescriptor(typeName.CastToCString()) != nullptr) {
    response.setObject(xany(static_cast<xobject*>(thrown)));
  }
}

}  // namespace

void zubJexSetFault(zubJexResponse& response, const char* code, const std::string& text) {
  response.setKind(zubJexResponseFault);
  response.setReturnType(nullptr);
  response.setFaultCode(xstring(code));
  response.setFaultString(xstring(text.c_str(), text.size()));
  response.setObject(xany::Nil());
}

zubJexMethodTable& zubJexMethodTable::add(const std::string& method, zubJexMethodHandler handler) {
  methods_[method] = std::move(handler);
  return *this;
}

const zubJexMethodHandler* zubJexMethodTable::find(const std::string& method) const {
  auto found = methods_.find(method);
  return found != methods_.end() ? &found->second : nullptr;
}

zubJexDispatcher::zubJexDispatcher(const zubJexObjectMapOptions& objects) : objects_(objects) {}

void zubJexDispatcher::addInterface(const std::string& interfaceName, zubJexMethodTable table) {
  interfaces_[interfaceName] = std::move(table);
}

void zubJexDispatcher::setRootObject(xobject* object, const std::string& id) {
  if (!objects_.registerObject(id, object)) return;
  rootIds_[Text(object->getZubTypeName())] = xstring(id.c_str(), id.size());
}

bool zubJexDispatcher::dispatch(btkIStream* request, btkMemOStream& response, const xstring& peer) {
  response.Clear();
  zubJexCall call;
  zubJexResponse answer;
  try {
    zubJEXSerializer::getInstance()->readCall(request, call, &objects_, peer);
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    zubJexSetFault(answer, ZUBJEX_FAULT_BAD_REQUEST, DescribeChain(error.get()));
    writeAnswer(response, answer);
    return true;
  }
  invoke(call, answer);
  if (call.getIsAsync()) return false;
  writeAnswer(response, answer);
  return true;
}

void zubJexDispatcher::invoke(zubJexCall& call, zubJexResponse& response) {
  CallName name = SplitCallName(call.getName());
  response.setName(ResponseName(name.method));
  xrcunihandle<xobject> target = findTarget(call, name.interfaceName, response);
  if (!target) return;
  std::string typeName = Text(target->getZubTypeName());
  auto table = interfaces_.find(typeName);
  const zubJexMethodHandler* handler =
      table != interfaces_.end() ? table->second.find(name.method) : nullptr;
  if (handler == nullptr) {
    zubJexSetFault(response, ZUBJEX_FAULT_UNKNOWN_METHOD,
                   "unknown method " + name.method + " of " + typeName);
    return;
  }
  try {
    xany result = (*handler)(target.get(), call);
    if (result.isuninit()) {
      response.setKind(zubJexResponseVoid);
    } else {
      response.setKind(zubJexResponseValue);
      response.setReturnType(call.getReturnType());
      response.setObject(result);
    }
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    SetFaultFromThrowable(response, error.get());
  } catch (const std::exception& e) {
    zubJexSetFault(response, ZUBJEX_FAULT_SERVER_ERROR, e.what());
  } catch (...) {
    zubJexSetFault(response, ZUBJEX_FAULT_SERVER_ERROR, "unknown failure");
  }
}

xrcunihandle<xobject> zubJexDispatcher::findTarget(zubJexCall& call,
                                                   const std::string& interfaceName,
                                                   zubJexResponse& response) {
  xrchandle<xstringsequence> names = call.getParamNames();
  xrchandle<xanysequence> values = call.getParamValues();
  if (names && values && names->getCount() > 0 && names->getAt(0) == "this") {
    xany self = values->getAt(0);
    xobject* object = self.getKind() == xany_object ? self.toObject() : nullptr;
    if (object == nullptr) {
      zubJexSetFault(response, ZUBJEX_FAULT_UNKNOWN_OBJECT, "the call names no target object");
      return xrcunihandle<xobject>();
    }
    if (zubS11nJexProxy* proxy = zubS11nCastToJexProxy(object)) {
      zubJexSetFault(response, ZUBJEX_FAULT_UNKNOWN_OBJECT,
                     "unknown object " + Text(proxy->getProxyId()));
      return xrcunihandle<xobject>();
    }
    return xrcunihandle<xobject>(object);
  }
  auto root = rootIds_.find(interfaceName);
  xrcunihandle<xobject> target;
  if (root != rootIds_.end()) target = objects_.findObject(root->second);
  if (!target) {
    zubJexSetFault(response, ZUBJEX_FAULT_UNKNOWN_OBJECT,
                   "no root object of interface " + interfaceName);
  }
  return target;
}

void zubJexDispatcher::writeAnswer(btkMemOStream& out, zubJexResponse& response) {
  zubJEXSerializer* encoder = zubJEXSerializer::getInstance();
  try {
    encoder->writeResponse(&out, response, &objects_);
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    out.Clear();
    zubJexResponse fault;
    fault.setName(response.getName());
    zubJexSetFault(fault, ZUBJEX_FAULT_SERVER_ERROR,
                   "cannot write the response: " + DescribeChain(error.get()));
    encoder->writeResponse(&out, fault, &objects_);
  }
}
