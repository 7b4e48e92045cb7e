// Keyed containers of the runtime.
#ifndef ZUBJEX_PLATFORM_DICTIONARIES_H_
#define ZUBJEX_PLATFORM_DICTIONARIES_H_

#include <map>
#include <string>

#include "platform/export.h"
#include "platform/xobject.h"
#include "platform/xstring.h"

// A reference-counted map from narrow keys to xstrings. Reads may run on several
// threads at once once it is filled; changes need the caller's exclusion.
class ZUBPLATFORM_EXPORT xstringdictionary : public xobject {
  XOBJECT_DECLARE_RTTI(ZUBPLATFORM_EXPORT)
 public:
  // A new empty dictionary with no reference yet.
  static xstringdictionary* create() { return new xstringdictionary(); }
  // Stores a copy of `value` under `key`, replacing an earlier value.
  virtual void insert(const char* key, const xstring& value) { items_[key] = value; }
  // True and a copy of the value when the key is present; false (value untouched) else.
  virtual bool lookup(const char* key, xstring& value) const;

 private:
  std::map<std::string, xstring, std::less<>> items_;
};

// A plain map from narrow keys to values of T (for instance function pointers).
// Not an object; the same thread rules as xstringdictionary.
template <class T>
class xtsdictionary {
 public:
  void insert(const char* key, T value) { items_[key] = value; }
  bool lookup(const char* key, T& value) const {
    auto it = items_.find(std::string_view(key));
    if (it == items_.end()) return false;
    value = it->second;
    return true;
  }
  size_t size() const { return items_.size(); }

 private:
  std::map<std::string, T, std::less<>> items_;
};

#endif  // ZUBJEX_PLATFORM_DICTIONARIES_H_
