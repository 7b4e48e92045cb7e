// Renders runtime values as readable text, for tools and logs.
#ifndef ZUBJEX_TOOLS_VALUE_PRINTER_H_
#define ZUBJEX_TOOLS_VALUE_PRINTER_H_

#include <string>

#include "platform/xany.h"

// One line of text for `value`: numbers as numbers, strings quoted, sequences in
// brackets, objects of described types (idl_types.h) as Type{field=value, ...}, proxies
// as <Type proxy id="..." server="..."> (server=none when the proxy has none), exceptions
// as <Type "description" caused by "..."> with every cause, other objects as <Type>.
std::string PrintValue(const xany& value);

// Escapes a narrow string for printing inside double quotes.
std::string Quote(const xstring& s);

// `size` bytes of `text` in double quotes, with '"' and '\\' escaped by a backslash and each
// control byte by `controlFormat` (a printf format taking the byte, e.g. "\\x%02X").
std::string QuoteBytes(const char* text, size_t size, const char* controlFormat);

#endif  // ZUBJEX_TOOLS_VALUE_PRINTER_H_
