// jexcall: calls a method of a JEX server from the command line and prints the result.
//
//   jexcall [options] SERVER Interface.method [name=value ...]
//
// See kUsage (options.cpp) and docs/tools.md for the options, the syntax of values
// (value_literal.h) and the exit status.
#include <chrono>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "client/deadline.h"
#include "client/jex_client.h"
#include "client/jex_config.h"
#include "http/http_transport.h"
#include "idl_types.h"
#include "json_printer.h"
#include "load.h"
#include "messages/jex_call.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "options.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "support/sequence_types.h"
#include "transport/tcp_transport.h"
#include "value_literal.h"
#include "value_printer.h"

namespace {

enum ExitStatus { kResult = 0, kFault = 1, kUsage = 2, kFailed = 3 };

// A wrong command line or value: the message, then exit status 2.
struct UsageError {
  std::string message;
};

std::string Text(const xstring& s) {
  return s.IsNil() ? std::string() : std::string(s.CastToCString(), s.GetMBSize());
}

// Reads and registers every --idl file; raises UsageError for one that cannot be read
// or has errors.
void LoadDescriptions(const jexcall::Options& o) {
  zubSupportRegisterSequenceTypes();
  for (const std::string& path : o.idlFiles) {
    jexgen::Loaded loaded = jexgen::loadDescription(path);
    if (!loaded.readable) throw UsageError{"cannot read " + path};
    if (!loaded.doc) {
      std::string all;
      for (const std::string& e : loaded.errors) all += (all.empty() ? "" : "\n") + e;
      throw UsageError{all};
    }
    jextools::IdlRegister(std::move(loaded.doc));
  }
}

xany ParseParam(const std::pair<std::string, std::string>& param, const std::string& server,
                const jexgen::TypeRef* type) {
  try {
    return jextools::ParseLiteral(param.second, server, type);
  } catch (const jextools::LiteralError& e) {
    throw UsageError{param.first + "=" + param.second + ": column " +
                     std::to_string(e.column() + param.first.size() + 1) + ": " + e.what()};
  }
}

// The parameter names and values of the call, "this" first when --root names a target.
void AddParams(const jexcall::Options& o, const jexgen::Method* method, zubJexCall& call) {
  if (o.hasRootId) {
    xrcunihandle<xobject> target = jextools::IdlMakeProxy(
        o.interfaceName, xstring(o.server.c_str()), xstring(o.rootId.c_str()));
    call.addParam("this", xany(target.get()));
  }
  if (method == nullptr) {
    for (const auto& p : o.params) call.addParam(p.first.c_str(), ParseParam(p, o.server, nullptr));
    return;
  }
  const std::string where = o.interfaceName + "." + o.method;
  for (const auto& p : o.params) {
    bool declared = false;
    for (const jexgen::Field& f : method->params) declared = declared || f.name == p.first;
    if (!declared) throw UsageError{where + " has no parameter '" + p.first + "'"};
  }
  for (const jexgen::Field& f : method->params) {
    const std::pair<std::string, std::string>* given = nullptr;
    for (const auto& p : o.params) {
      if (p.first == f.name) {
        if (given != nullptr) throw UsageError{"the parameter '" + f.name + "' is given twice"};
        given = &p;
      }
    }
    if (given == nullptr) throw UsageError{where + " needs the parameter " + f.name};
    call.addParam(f.name.c_str(), ParseParam(*given, o.server, &f.type));
  }
}

// The call as the command line describes it; raises UsageError.
void BuildCall(const jexcall::Options& o, zubJexCall& call) {
  if (!jextools::IdlEnsureInterface(o.interfaceName)) {
    throw UsageError{"'" + o.interfaceName + "' is no interface"};
  }
  const jexgen::Method* method = jextools::IdlFindMethod(o.interfaceName, o.method);
  if (method == nullptr && jextools::IdlFind(o.interfaceName) != nullptr) {
    throw UsageError{"the description of " + o.interfaceName + " has no method " + o.method};
  }
  const bool described = method != nullptr;
  if (described && method->hasResult && (o.oneWay || o.noResult)) {
    throw UsageError{o.interfaceName + "." + o.method + " returns a result: it cannot be " +
                     (o.oneWay ? "one-way" : "void")};
  }
  const bool oneWay = o.oneWay || (described && method->oneWay);
  const bool noResult = oneWay || o.noResult || (described && !method->hasResult);
  call.setName(xstring((o.interfaceName + ":" + o.method).c_str()));
  call.setReturnType(noResult    ? nullptr
                     : described ? jextools::IdlResultType(method->result)
                                 : zubGetRtti_any());
  call.setIsAsync(oneWay);
  AddParams(o, method, call);
}

void DumpRequest(const std::string& path, zubJexCall& call, zubJexProxyMap& map) {
  btkMemOStream bytes;
  zubJEXSerializer::getInstance()->writeCall(&bytes, call, &map);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes.str();
  out.close();
  if (!out) throw UsageError{"cannot write " + path};
}

std::unique_ptr<zubJexTransportFactory> MakeFactory(const jexcall::Options& o) {
  if (jexcall::IsHttpServer(o.server)) return std::make_unique<zubJexHttpTransportFactory>(o.http);
  return std::make_unique<zubJexTcpTransportFactory>(o.tcp);
}

// Makes the call and prints the result; returns the exit status.
int CallAndPrint(const jexcall::Options& o, zubJexCall& call) {
  zubJexClient* client = zubJexClient::getInstance(o.server.c_str());
  if (call.getReturnType() == nullptr) {
    client->makeVoidCall(&call);
    return kResult;
  }
  const xany result = client->makeCall(&call);
  std::cout << (o.json ? PrintJson(result) : PrintValue(result)) << "\n";
  return kResult;
}

int MakeCall(const jexcall::Options& o, zubJexCall& call) {
  if (o.deadlineMs == 0) return CallAndPrint(o, call);
  zubJexDeadline deadline{std::chrono::milliseconds(o.deadlineMs)};
  return CallAndPrint(o, call);
}

// The first "invalid rtti X" in the chain: a type the answer used that nobody described.
std::string UnknownType(zubXException* e) {
  for (xrchandle<zubXException> c(e); c; c = c->getCause()) {
    const std::string d = Text(c->getDescription());
    const size_t at = d.find("invalid rtti ");
    if (at != std::string::npos) return d.substr(at + 13);
  }
  return "";
}

// Writes the description and then every cause, one a line.
void PrintChain(const std::string& what, zubXException* e) {
  std::cerr << "jexcall: " << what;
  for (xrchandle<zubXException> c = e != nullptr ? e->getCause() : xrchandle<zubXException>(); c;
       c = c->getCause()) {
    std::cerr << "\n  caused by: " << Text(c->getDescription());
  }
  std::cerr << "\n";
}

// Reports what the call raised; returns the exit status. The server's own exception
// object, and the client's error whose cause is the server's fault, are faults; every
// other error is the client's or the transport's.
int ReportFailure(xthrowable* thrown) {
  xrcunihandle<xthrowable> caught = xadoptThrown(thrown);
  zubXException* e = zubXException::softcast(caught.get());
  if (zubXSerialization::softcast(caught.get()) == nullptr) {
    PrintChain("the server answered with a fault: " +
                   PrintValue(xany(static_cast<xobject*>(caught.get()))),
               e);
    return kFault;
  }
  if (e->getCause() && zubXJexFault::isObjKindOf(e->getCause().get())) {
    PrintChain("the server answered with a fault: " + Text(e->getDescription()), e);
    return kFault;
  }
  PrintChain("the call failed: " + Text(e->getDescription()), e);
  const std::string unknown = UnknownType(e);
  if (!unknown.empty()) {
    std::cerr << "jexcall: the answer holds an object of type " << unknown
              << ", which no description given with --idl names\n";
  }
  return kFailed;
}

}  // namespace

int main(int argc, char** argv) {
  jexcall::Options options;
  std::string error;
  switch (jexcall::ParseCommandLine(argc, argv, options, error)) {
    case jexcall::Parsed::kHelp:
      std::cout << jexcall::kUsage;
      return kResult;
    case jexcall::Parsed::kError:
      std::cerr << "jexcall: " << error << "\n" << jexcall::kUsage;
      return kUsage;
    case jexcall::Parsed::kCall:
      break;
  }
  zubJexNoHostObjectsMap hostObjects;
  zubJexCall call;
  try {
    LoadDescriptions(options);
    BuildCall(options, call);
    if (!options.dumpRequest.empty()) DumpRequest(options.dumpRequest, call, hostObjects);
  } catch (const UsageError& e) {
    std::cerr << "jexcall: " << e.message << "\n";
    return kUsage;
  } catch (xthrowable* t) {
    return ReportFailure(t);
  }
  const std::unique_ptr<zubJexTransportFactory> factory = MakeFactory(options);
  zubJexConfig config;
  config.setJexTransportFactory(factory.get());
  zubJexClient::setServerConfig(options.server.c_str(), config);
  zubJexClient::setServerProxyMap(options.server.c_str(), &hostObjects);
  try {
    return MakeCall(options, call);
  } catch (xthrowable* t) {
    return ReportFailure(t);
  }
}
