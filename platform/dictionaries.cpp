#include "platform/dictionaries.h"

XOBJECT_DEFINE_RTTI(xstringdictionary, "xstringdictionary", xobject)

bool xstringdictionary::lookup(const char* key, xstring& value) const {
  auto it = items_.find(std::string_view(key));
  if (it == items_.end()) return false;
  value = it->second;
  return true;
}
