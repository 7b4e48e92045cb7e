// btkString and btkStringMap: the base library's sorted string-keyed map.
#ifndef ZUBJEX_PLATFORM_STRING_MAP_H_
#define ZUBJEX_PLATFORM_STRING_MAP_H_

#include <cstring>
#include <string>
#include <utility>
#include <vector>

// An owned copy of a NUL-terminated string.
class btkString {
 public:
  btkString() = default;
  btkString(const char* s) : s_(s == nullptr ? "" : s) {}  // NOLINT(runtime/explicit)
  const char* c_str() const { return s_.c_str(); }

 private:
  std::string s_;
};

// Three-way comparison of two strings, byte by byte (case matters): the order of every
// string map.
inline int Cmp_btkStrings(const char* a, const char* b) { return std::strcmp(a, b); }

// Pairs of key and value kept sorted by key (Cmp_btkStrings) and found by binary search.
// Not thread-safe: the owner guards it.
template <class V>
class btkStringMap {
 public:
  // Replaces the value of an existing key, else inserts the pair in order.
  void Add(const char* key, const V& value) {
    size_t i = LowerBound(key);
    if (i < pairs_.size() && Cmp_btkStrings(pairs_[i].first.c_str(), key) == 0) {
      pairs_[i].second = value;
    } else {
      pairs_.insert(pairs_.begin() + static_cast<std::ptrdiff_t>(i), {btkString(key), value});
    }
  }
  // True and a copy of the key's value in `value`; false and `value` untouched.
  bool Find(const char* key, V& value) const {
    const V* v = FindPtr(key);
    if (v == nullptr) return false;
    value = *v;
    return true;
  }
  // The stored value of the key, or null; valid until the map changes.
  const V* FindPtr(const char* key) const {
    size_t i = LowerBound(key);
    if (i < pairs_.size() && Cmp_btkStrings(pairs_[i].first.c_str(), key) == 0) {
      return &pairs_[i].second;
    }
    return nullptr;
  }
  bool ContainsKey(const char* key) const { return FindPtr(key) != nullptr; }
  size_t GetSize() const { return pairs_.size(); }
  // The i-th value and key in key order.
  const V& GetByIndex(size_t i) const { return pairs_[i].second; }
  const char* GetKeyByIndex(size_t i) const { return pairs_[i].first.c_str(); }
  void Clear() { pairs_.clear(); }

 private:
  size_t LowerBound(const char* key) const {
    size_t lo = 0, hi = pairs_.size();
    while (lo < hi) {
      size_t mid = (lo + hi) / 2;
      if (Cmp_btkStrings(pairs_[mid].first.c_str(), key) < 0) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    return lo;
  }
  std::vector<std::pair<btkString, V>> pairs_;
};

#endif  // ZUBJEX_PLATFORM_STRING_MAP_H_
