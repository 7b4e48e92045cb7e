#include "value_printer.h"

#include <cstdio>

#include "idl_types.h"
#include "messages/jex_proxy.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"

namespace {

std::string PrintObject(xobject* object) {
  if (xanysequence* values = xanysequence::softcast(object)) {
    std::string out = "[";
    for (int32_t i = 0; i < values->getCount(); ++i) {
      if (i > 0) out += ", ";
      out += PrintValue(values->getAt(i));
    }
    return out + "]";
  }
  if (xstringsequence* strings = xstringsequence::softcast(object)) {
    std::string out = "[";
    for (int32_t i = 0; i < strings->getCount(); ++i) {
      if (i > 0) out += ", ";
      out += Quote(strings->getAt(i));
    }
    return out + "]";
  }
  const std::string type = object->getZubTypeName().CastToCString();
  if (const jextools::IdlFields* fields = jextools::IdlFieldsOf(object)) {
    std::string out = type + "{";
    for (size_t i = 0; i < fields->values().size(); ++i) {
      if (i > 0) out += ", ";
      out += fields->definition().fields[i].name + "=" + PrintValue(fields->values()[i]);
    }
    return out + "}";
  }
  std::string out = "<" + type;
  if (zubS11nJexProxy* proxy = zubS11nCastToJexProxy(object)) {
    const xstring& server = proxy->serverUrl;
    out += " proxy id=" + Quote(proxy->getProxyId()) +
           " server=" + (server.IsNil() || server.GetMBSize() == 0 ? "none" : Quote(server));
  } else if (zubXException* e = zubXException::softcast(object)) {
    out += " " + Quote(e->getDescription());
    for (xrchandle<zubXException> cause = e->getCause(); cause; cause = cause->getCause()) {
      out += " caused by " + Quote(cause->getDescription());
    }
  }
  return out + ">";
}

}  // namespace

std::string QuoteBytes(const char* text, size_t size, const char* controlFormat) {
  std::string out = "\"";
  for (const char* p = text; p < text + size; ++p) {
    unsigned char c = static_cast<unsigned char>(*p);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c < 0x20 || c == 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, controlFormat, c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out + "\"";
}

std::string Quote(const xstring& s) {
  if (s.IsNil()) return "nil";
  return QuoteBytes(s.CastToCString(), s.GetMBSize(), "\\x%02X");
}

std::string PrintValue(const xany& value) {
  char buffer[64];
  switch (value.getKind()) {
    case xany_uninit:
      return "uninit";
    case xany_nil:
      return "nil";
    case xany_int:
      return std::to_string(value.toInt());
    case xany_long:
      return std::to_string(value.toLong()) + "L";
    case xany_byte:
      return "byte " + std::to_string(value.toByte());
    case xany_short:
      return "short " + std::to_string(value.toShort());
    case xany_bool:
      return "bool " + std::to_string(value.toBool());
    case xany_real:
      std::snprintf(buffer, sizeof buffer, "%.17g", value.toReal());
      return buffer;
    case xany_string:
      return Quote(value.toString());
    case xany_enum:
      return "enum " + std::to_string(value.toInt());
    case xany_object:
      return PrintObject(value.toObject());
  }
  return "?";
}
