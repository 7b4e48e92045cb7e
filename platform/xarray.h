// btkXArray: the base library's contiguous growable array. Not thread-safe.
#ifndef ZUBJEX_PLATFORM_XARRAY_H_
#define ZUBJEX_PLATFORM_XARRAY_H_

#include <cstddef>
#include <vector>

template <class T>
class btkXArray {
 public:
  void Append(const T& item) { items_.push_back(item); }
  size_t GetSize() const { return items_.size(); }
  // The elements, contiguous; valid until the array changes.
  T* GetDataPtr() { return items_.data(); }
  const T* GetDataPtr() const { return items_.data(); }
  void Clear() { items_.clear(); }

 private:
  std::vector<T> items_;
};

#endif  // ZUBJEX_PLATFORM_XARRAY_H_
