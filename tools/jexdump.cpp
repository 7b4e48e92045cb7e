// jexdump: prints a JEX message (call, response or standalone object) in words.
//
//   jexdump [--hex] [--frames] [--idl FILE.jex ...] [FILE]
//
// Reads one message from FILE (or standard input). With --hex the input is hexadecimal
// text (white space ignored), as messages appear in tests and logs. With --frames the
// input is a captured TCP stream: any number of frames (a 4-byte little-endian length,
// then the message), each printed in turn. Proxies are shown with their identifiers; a
// message does not say which server its proxies belong to, so their server is shown as
// none. Object types must be known to this tool: the runtime's sequences, the calculator
// example, and the types of every description given with --idl (which are shown with
// their fields). Exit status: 0 printed, 1 a message or frame cannot be read (the reason
// is printed, with every cause), 2 usage (a description that cannot be read or has
// errors included).
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "idl_types.h"
#include "load.h"
#include "messages/jex_serializer.h"
#include "platform/exceptions.h"
#include "platform/memory_streams.h"
#include "serialization/bin_serializer.h"
#include "support/sequence_types.h"
#include "value_printer.h"
#ifdef JEXDUMP_WITH_CALC
#include "calc.jex.h"
#endif

namespace {

// The server name given to proxies read from a message, which does not say it.
const char* const kNoServer = "";

bool ParseHex(const std::string& text, std::string& bytes) {
  int high = -1;
  for (char c : text) {
    if (std::isspace(static_cast<unsigned char>(c))) continue;
    if (!std::isxdigit(static_cast<unsigned char>(c))) return false;
    int v = std::isdigit(static_cast<unsigned char>(c)) ? c - '0' : std::tolower(c) - 'a' + 10;
    if (high < 0) {
      high = v;
    } else {
      bytes.push_back(static_cast<char>(high * 16 + v));
      high = -1;
    }
  }
  return high < 0;
}

const char kUsage[] = "usage: jexdump [--hex] [--frames] [--idl FILE.jex ...] [FILE]\n";

// Registers the types of the description; false (with the reasons printed) when it
// cannot be read or has errors.
bool LoadDescription(const std::string& path) {
  jexgen::Loaded loaded = jexgen::loadDescription(path);
  if (!loaded.readable) std::cerr << "jexdump: cannot read " << path << "\n";
  for (const std::string& error : loaded.errors) std::cerr << error << "\n";
  if (!loaded.doc) return false;
  jextools::IdlRegister(std::move(loaded.doc));
  return true;
}

// The message's tag: its first string, or nil when it cannot be read.
xstring ReadTag(const std::string& bytes) {
  try {
    btkMemIStream in(bytes);
    zubBinDeserializer reader(&in);
    xstring tag;
    reader.readString(tag);
    return tag;
  } catch (xthrowable* t) {
    xadoptThrown(t);
    return xstring();
  }
}

void PrintCall(const zubJexCall& call) {
  std::cout << "call " << Quote(call.getName()) << "\n";
  xrtti* type = call.getReturnType();
  std::cout << "  returns: " << (type != nullptr ? type->getName().CastToCString() : "nothing")
            << "\n  one-way: " << (call.getIsAsync() ? "yes" : "no") << "\n";
  xrchandle<xstringsequence> names = call.getParamNames();
  xrchandle<xanysequence> values = call.getParamValues();
  int32_t count = values ? values->getCount() : 0;
  std::cout << "  parameters: " << count << "\n";
  for (int32_t i = 0; i < count; ++i) {
    std::cout << "    " << (names ? names->getAt(i).CastToCString() : "?") << " = "
              << PrintValue(values->getAt(i)) << "\n";
  }
}

void PrintResponse(const zubJexResponse& response) {
  static const char* const kinds[] = {"none", "void", "value", "fault"};
  int kind = response.getKind();
  std::cout << "response " << Quote(response.getName()) << "\n  kind: " << kind;
  if (kind >= 0 && kind <= 3) std::cout << " (" << kinds[kind] << ")";
  xrtti* type = response.getReturnType();
  std::cout << "\n  return type: " << (type != nullptr ? type->getName().CastToCString() : "none")
            << "\n  value: " << PrintValue(response.getObject()) << "\n";
  if (kind == zubJexResponseFault) {
    std::cout << "  fault code: " << Quote(response.getFaultCode())
              << "\n  fault string: " << Quote(response.getFaultString()) << "\n";
  }
}

// Prints the message; raises what the encoder raises.
void Dump(const std::string& bytes) {
  zubJexNoHostObjectsMap map;
  zubJEXSerializer* encoder = zubJEXSerializer::getInstance();
  btkMemIStream in(bytes);
  xstring tag = ReadTag(bytes);
  if (tag == "JEXResponse") {
    zubJexResponse response;
    encoder->readResponse(&in, response, &map, kNoServer);
    PrintResponse(response);
  } else if (tag == "JEXObject") {
    xany value;
    encoder->readObject(&in, value);
    std::cout << "object " << PrintValue(value) << "\n";
  } else {
    zubJexCall call;
    encoder->readCall(&in, call, &map, kNoServer);
    PrintCall(call);
  }
  if (in.remaining() > 0) std::cout << "  (" << in.remaining() << " bytes after the message)\n";
}

// Prints every frame of a captured stream; raises for a frame that is cut short.
void DumpFrames(const std::string& bytes) {
  size_t at = 0;
  for (int index = 1; at < bytes.size(); ++index) {
    if (bytes.size() - at < 4) xthrowException("the last frame's length is cut short");
    const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes.data() + at);
    const size_t length = p[0] | p[1] << 8 | p[2] << 16 | static_cast<size_t>(p[3]) << 24;
    at += 4;
    if (bytes.size() - at < length) xthrowException("the last frame is cut short");
    std::cout << "frame " << index << ", " << length << " bytes: ";
    Dump(bytes.substr(at, length));
    at += length;
  }
}

void PrintError(xthrowable* thrown) {
  xrcunihandle<xthrowable> caught = xadoptThrown(thrown);
  std::cerr << "jexdump: cannot read the message";
  for (xrchandle<zubXException> e(zubXException::softcast(caught.get())); e; e = e->getCause()) {
    std::cerr << ": " << e->getDescription();
  }
  std::cerr << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  bool hex = false;
  bool frames = false;
  const char* path = nullptr;
  std::vector<std::string> descriptions;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--hex") {
      hex = true;
    } else if (arg == "--frames") {
      frames = true;
    } else if (arg == "--idl" && i + 1 < argc) {
      descriptions.push_back(argv[++i]);
    } else if (path == nullptr && arg[0] != '-') {
      path = argv[i];
    } else {
      std::cerr << kUsage;
      return 2;
    }
  }
  std::ifstream file;
  if (path != nullptr) {
    file.open(path, std::ios::binary);
    if (!file) {
      std::cerr << "jexdump: cannot open " << path << "\n";
      return 2;
    }
  }
  std::istream& input = path != nullptr ? static_cast<std::istream&>(file) : std::cin;
  std::string text((std::istreambuf_iterator<char>(input)), std::istreambuf_iterator<char>());
  std::string bytes;
  if (!hex) {
    bytes = text;
  } else if (!ParseHex(text, bytes)) {
    std::cerr << "jexdump: the input is not hexadecimal\n";
    return 2;
  }
  zubSupportRegisterSequenceTypes();
#ifdef JEXDUMP_WITH_CALC
  calcRegisterTypes();
#endif
  for (const std::string& description : descriptions) {
    if (!LoadDescription(description)) return 2;
  }
  try {
    if (frames) {
      DumpFrames(bytes);
    } else {
      Dump(bytes);
    }
  } catch (xthrowable* t) {
    PrintError(t);
    return 1;
  }
  return 0;
}
