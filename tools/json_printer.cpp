#include "json_printer.h"

#include <cmath>
#include <cstdio>

#include "idl_types.h"
#include "messages/jex_proxy.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "value_printer.h"

namespace {

std::string Text(const xstring& s) {
  return s.IsNil() ? std::string() : std::string(s.CastToCString(), s.GetMBSize());
}

std::string JsonOrNull(const xstring& s) { return s.IsNil() ? "null" : JsonString(Text(s)); }

std::string PrintException(zubXException* e, const std::string& type) {
  std::string out =
      "{\"type\": " + JsonString(type) + ", \"description\": " + JsonOrNull(e->getDescription());
  if (xrchandle<zubXException> cause = e->getCause()) {
    out += ", \"cause\": " + PrintJson(xany(static_cast<xobject*>(cause.get())));
  }
  return out + "}";
}

std::string PrintObject(xobject* object) {
  if (object == nullptr) return "null";
  std::string out = "[";
  if (xanysequence* values = xanysequence::softcast(object)) {
    for (int32_t i = 0; i < values->getCount(); ++i) {
      out += (i > 0 ? ", " : "") + PrintJson(values->getAt(i));
    }
    return out + "]";
  }
  if (xstringsequence* strings = xstringsequence::softcast(object)) {
    for (int32_t i = 0; i < strings->getCount(); ++i) {
      out += (i > 0 ? ", " : "") + JsonOrNull(strings->getAt(i));
    }
    return out + "]";
  }
  const std::string type = Text(object->getZubTypeName());
  if (const jextools::IdlFields* fields = jextools::IdlFieldsOf(object)) {
    out = "{\"type\": " + JsonString(type) + ", \"fields\": {";
    for (size_t i = 0; i < fields->values().size(); ++i) {
      out += (i > 0 ? ", " : "") + JsonString(fields->definition().fields[i].name) + ": " +
             PrintJson(fields->values()[i]);
    }
    return out + "}}";
  }
  if (zubS11nJexProxy* proxy = zubS11nCastToJexProxy(object)) {
    const xstring& server = proxy->serverUrl;
    return "{\"type\": " + JsonString(type) + ", \"proxy\": " + JsonOrNull(proxy->getProxyId()) +
           ", \"server\": " +
           (server.IsNil() || server.GetMBSize() == 0 ? "null" : JsonString(Text(server))) + "}";
  }
  if (zubXException* e = zubXException::softcast(object)) return PrintException(e, type);
  return "{\"type\": " + JsonString(type) + "}";
}

}  // namespace

std::string JsonString(const std::string& s) { return QuoteBytes(s.data(), s.size(), "\\u%04X"); }

std::string PrintJson(const xany& value) {
  switch (value.getKind()) {
    case xany_int:
    case xany_enum:
      return std::to_string(value.toInt());
    case xany_long:
      return std::to_string(value.toLong());
    case xany_byte:
      return std::to_string(value.toByte());
    case xany_short:
      return std::to_string(value.toShort());
    case xany_bool:
      return value.toBool() ? "true" : "false";
    case xany_real: {
      if (!std::isfinite(value.toReal())) return "null";
      char buffer[64];
      std::snprintf(buffer, sizeof buffer, "%.17g", value.toReal());
      return buffer;
    }
    case xany_string:
      return JsonOrNull(value.toString());
    case xany_object:
      return PrintObject(value.toObject());
    default:
      return "null";
  }
}
