// Writes the seed corpus of the fuzz targets: valid messages made by the encoder, one
// file each, into <dir>/<target> for every target named in kTargets (the folders must
// exist). Usage: zubjex_fuzz_seeds <dir>
#include <cstdio>
#include <fstream>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "calc.jex.h"
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "transport/frame.h"

namespace {

// Above 64 KiB, where the reader takes another path for a string's length.
constexpr size_t kLargeString = 100 * 1024;

zubJEXSerializer* Jex() { return zubJEXSerializer::getInstance(); }

xany Proxy(const char* id) {
  ICalcProxy* proxy = new ICalcProxy();
  proxy->identity().setProxyId(id);
  return xany(static_cast<xobject*>(proxy));
}

std::string Call(zubJexCall& call) {
  btkMemOStream out;
  Jex()->writeCall(&out, call, &zubfuzz::Setup());
  return out.str();
}

std::vector<std::string> Calls() {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  std::vector<std::string> calls;
  zubJexCall add;
  add.setName("ICalc:add");
  add.setReturnType(zubGetRtti_int());
  add.addParam("this", Proxy("calc"));
  add.addParam("a", xint{2});
  add.addParam("b", xint{-3});
  calls.push_back(Call(add));

  zubJexCall child;
  child.setName("ICalc:createChild");
  child.setReturnType(zubRttiGetFromMap("ICalc"));
  child.addParam("this", xany(map.host()));
  child.addParam("name", xstring(std::string(300, 'n').c_str()));
  calls.push_back(Call(child));

  zubJexCall log;
  log.setName("ICalc:log");
  log.setIsAsync(true);
  log.addParam("this", Proxy("calc"));
  log.addParam("message", xstring("hello"));
  calls.push_back(Call(log));

  zubJexCall large;
  large.setName("ICalc:log");
  large.addParam("message", xstring(std::string(kLargeString, 'm').c_str()));
  calls.push_back(Call(large));

  zubJexCall mixed;
  mixed.setName("mixed");
  mixed.setReturnType(zubGetRtti_any());
  xrchandle<xanysequence> nested(xanysequence::create());
  nested->append(xlong{-1});
  nested->append(xany(map.host()));
  nested->append(Proxy("p2"));
  mixed.addParam("list", xany(static_cast<xobject*>(nested.get())));
  mixed.addParam("error", xany(static_cast<xobject*>(new CalcError("bad"))));
  mixed.addParam("real", xreal{1.5});
  mixed.addParam("short", xshort{7});
  mixed.addParam("byte", xbyte{1});
  mixed.addParam("bool", xbool{true});
  mixed.addParam("nil", xstring());
  calls.push_back(Call(mixed));
  return calls;
}

std::vector<std::string> Responses() {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  struct Case {
    const char* name;
    zubJexResponseKind kind;
    xrtti* type;
    xany value;
    const char* code;
  } cases[] = {
      {"addResponse", zubJexResponseValue, zubGetRtti_int(), xint{5}, nullptr},
      {"addResponse", zubJexResponseVoid, nullptr, xany(), nullptr},
      {"addResponse", zubJexResponseFault, nullptr, xany::Nil(), "UnknownMethod"},
      {"getNameResponse", zubJexResponseValue, zubGetRtti_string(),
       xstring(std::string(kLargeString, 'r').c_str()), nullptr},
      {"logResponse", zubJexResponseVoid, nullptr, xany(), nullptr},
      {"createChildResponse", zubJexResponseValue, zubRttiGetFromMap("ICalc"), Proxy("c1"),
       nullptr},
      {"echoResponse", zubJexResponseValue, zubGetRtti_any(), xany(map.host()), nullptr},
      {"divideResponse", zubJexResponseFault, nullptr,
       xany(static_cast<xobject*>(new CalcError("division by zero"))), "CalcError"},
  };
  std::vector<std::string> responses;
  for (Case& c : cases) {
    zubJexResponse response;
    response.setName(c.name);
    response.setKind(c.kind);
    response.setReturnType(c.type);
    response.setObject(c.value);
    if (c.code != nullptr) {
      response.setFaultCode(c.code);
      response.setFaultString("division by zero");
    }
    btkMemOStream out;
    Jex()->writeResponse(&out, response, &map);
    responses.push_back(out.str());
  }
  return responses;
}

std::vector<std::string> Objects() {
  xrchandle<xstringsequence> names(xstringsequence::create());
  names->append(xstring("a"));
  names->append(xstring());
  xany values[] = {xint{1}, xstring("text"), xany(static_cast<xobject*>(names.get())),
                   xany(static_cast<xobject*>(new CalcError("e"))), Proxy("calc")};
  std::vector<std::string> objects;
  for (xany& value : values) {
    btkMemOStream out;
    Jex()->writeObject(&out, value);
    objects.push_back(out.str());
  }
  return objects;
}

std::string Frame(const std::string& message) {
  uint8_t header[kZubJexFrameHeaderSize];
  zubJexEncodeFrameLength(static_cast<uint32_t>(message.size()), header);
  return std::string(reinterpret_cast<const char*>(header), sizeof header) + message;
}

std::vector<std::string> Frames(const std::vector<std::string>& calls) {
  std::string all;
  for (const std::string& call : calls) all += Frame(call);
  return {Frame(calls[0]), all, Frame(std::string(4000, 'x'))};
}

// A call of the calculator's method `name` with the named parameters.
std::string CalcCall(const char* name, std::initializer_list<std::pair<const char*, xany>> params,
                     bool oneWay = false) {
  zubJexCall call;
  call.setName(name);
  call.setIsAsync(oneWay);
  for (const auto& p : params) call.addParam(p.first, p.second);
  return Call(call);
}

// Conversations with the calculator server, each a client's frames one after another:
// objects handed out, called, pushed out of the map and called again.
std::vector<std::string> Dispatches(const std::vector<std::string>& calls) {
  std::string children;
  for (const char* name : {"a", "b", "c", "d"}) {
    children += Frame(CalcCall("ICalc:createChild", {{"name", xstring(name)}}));
  }
  children += Frame(CalcCall("ICalc:getName", {{"this", Proxy("o1")}}));
  children += Frame(CalcCall("ICalc:add", {{"this", Proxy("o4")}, {"a", xint{1}}, {"b", xint{2}}}));
  std::string faults = Frame(CalcCall("ICalc:divide", {{"a", xint{1}}, {"b", xint{0}}})) +
                       Frame(CalcCall("ICalc:add", {{"a", xstring("1")}, {"b", xint{2}}})) +
                       Frame(CalcCall("ICalc:add", {{"a", xint{2147483647}}, {"b", xint{1}}})) +
                       Frame(CalcCall("ICalc:power", {{"a", xint{2}}})) +
                       Frame(CalcCall("IOther:ping", {})) + Frame(std::string("\x01\x02", 2));
  std::string oneWay = Frame(CalcCall("ICalc:log", {{"message", xstring("hi")}}, true)) +
                       Frame(CalcCall("ICalc:nothing", {}, true)) +
                       Frame(CalcCall("ICalc:getName", {}));
  std::vector<std::string> dispatches = {children, faults, oneWay};
  for (const std::string& call : calls) dispatches.push_back(Frame(call));
  return dispatches;
}

bool WriteAll(const std::string& dir, const char* kind, const std::vector<std::string>& items) {
  for (size_t i = 0; i < items.size(); ++i) {
    std::ofstream file(dir + "/" + kind + "/seed" + std::to_string(i), std::ios::binary);
    file << items[i];
    if (!file) return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus dir>\n", argv[0]);
    return 2;
  }
  try {
    std::vector<std::string> calls = Calls();
    std::vector<std::string> responses = Responses();
    bool ok = WriteAll(argv[1], "call", calls) && WriteAll(argv[1], "response", responses) &&
              WriteAll(argv[1], "object", Objects()) && WriteAll(argv[1], "frame", Frames(calls)) &&
              WriteAll(argv[1], "dispatch", Dispatches(calls)) &&
              WriteAll(argv[1], "client", responses);
    if (!ok) {
      std::fprintf(stderr, "cannot write the seeds into %s\n", argv[1]);
      return 1;
    }
  } catch (xthrowable* thrown) {
    xadoptThrown(thrown);
    std::fprintf(stderr, "the encoder refused a seed\n");
    return 1;
  }
  return 0;
}
