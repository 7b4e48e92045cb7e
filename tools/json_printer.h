// Renders runtime values as JSON, for scripts that read a tool's output.
#ifndef ZUBJEX_TOOLS_JSON_PRINTER_H_
#define ZUBJEX_TOOLS_JSON_PRINTER_H_

#include <string>

#include "platform/xany.h"

// One line of JSON for `value`. Numbers and bools as JSON numbers and bools (a real that
// is not finite as null), strings as strings (control characters as \u00XX, other bytes as they
// are), nil and uninit as null, sequences as arrays, objects of described types (idl_types.h) as
// {"type": "Point", "fields": {"x": 1, ...}}, proxies as
// {"type": "ICalc", "proxy": "7", "server": "..." or null}, exceptions as
// {"type": ..., "description": ..., "cause": ...}, other objects as {"type": "Name"}.
std::string PrintJson(const xany& value);

// `s` as a JSON string.
std::string JsonString(const std::string& s);

#endif  // ZUBJEX_TOOLS_JSON_PRINTER_H_
