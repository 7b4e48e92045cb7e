// A growable array that keeps its first N elements inside itself (or in room that its
// owner made for it) and moves them to the heap only beyond that, so that short lists
// cost no allocation of their own.
// Elements must be movable without raising. Not copyable; not thread-safe.
#ifndef ZUBJEX_PLATFORM_SMALL_VECTOR_H_
#define ZUBJEX_PLATFORM_SMALL_VECTOR_H_

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

// True for element types that may move to other room as plain bytes (nothing points
// into them, and their moved-from husk needs no destruction); the heap room of such
// arrays grows with realloc (often in place, else one copy) instead of a move and a
// destruction per element. Specialized next to the types.
template <class T>
struct btkRelocatesAsBytes : std::is_trivially_copyable<T> {};

template <class T, size_t N>
class btkSmallVector {
 public:
  btkSmallVector() = default;
  // Keeps its first `capacity` elements in `room`, which the caller made and keeps for
  // the life of the array, instead of inside itself.
  btkSmallVector(T* room, size_t capacity) : data_(room), fixed_(room), capacity_(capacity) {}
  btkSmallVector(const btkSmallVector&) = delete;
  btkSmallVector& operator=(const btkSmallVector&) = delete;
  ~btkSmallVector() {
    clear();
    if (data_ != fixed_) FreeHeap(data_);
  }

  size_t size() const { return size_; }
  const T& operator[](size_t i) const { return data_[i]; }

  // Removes every element; keeps the room made so far.
  void clear() {
    for (size_t i = 0; i < size_; ++i) data_[i].~T();
    size_ = 0;
  }
  // Makes room for n elements in all; a hint only.
  void reserve(size_t n) {
    if (n > capacity_) relocate(n);
  }
  // Appends a copy of, or takes over, `value`, which may be an element of this array.
  // Within the room the element is made in place; growing is out of line.
  template <class U>
  void push_back(U&& value) {
    if (size_ < capacity_) {
      new (data_ + size_) T(std::forward<U>(value));
      ++size_;
    } else {
      pushGrowing(std::forward<U>(value));
    }
  }
  // Makes an element from `args` where room was made for it (reserve, or the room given
  // at construction): size() < capacity() is the caller's promise, not checked.
  template <class... Args>
  T& emplaceInRoom(Args&&... args) {
    T* at = new (data_ + size_) T(std::forward<Args>(args)...);
    ++size_;
    return *at;
  }
  // The room after the last element, for callers that make several elements there in
  // order (placement new, at most capacity() - size()) and then count them with
  // madeInRoom(n). Until then they are not elements: nothing destroys them.
  T* spareRoom() { return data_ + size_; }
  void madeInRoom(size_t n) { size_ += n; }
  size_t capacity() const { return capacity_; }
  const T* begin() const { return data_; }
  const T* end() const { return data_ + size_; }

 private:
  template <class U>
  __attribute__((noinline)) void pushGrowing(U&& value) {
    T item(std::forward<U>(value));  // before the elements move away
    relocate(capacity_ * 2);
    new (data_ + size_) T(std::move(item));
    ++size_;
  }
  void relocate(size_t capacity) {
    if constexpr (btkRelocatesAsBytes<T>::value) {
      const bool onHeap = data_ != fixed_;
      void* grown =
          std::realloc(onHeap ? static_cast<void*>(data_) : nullptr, capacity * sizeof(T));
      if (grown == nullptr) throw std::bad_alloc();
      T* fresh = static_cast<T*>(grown);
      if (!onHeap && size_ != 0) {
        std::memcpy(static_cast<void*>(fresh), static_cast<void*>(data_), size_ * sizeof(T));
      }
      data_ = fresh;
    } else {
      T* fresh = static_cast<T*>(::operator new(capacity * sizeof(T)));
      for (size_t i = 0; i < size_; ++i) {
        new (fresh + i) T(std::move(data_[i]));
        data_[i].~T();
      }
      if (data_ != fixed_) ::operator delete(data_);
      data_ = fresh;
    }
    capacity_ = capacity;
  }
  // Heap room comes from realloc for the types that move as bytes, else from new.
  static void FreeHeap(T* room) {
    if constexpr (btkRelocatesAsBytes<T>::value) {
      std::free(room);
    } else {
      ::operator delete(room);
    }
  }

  alignas(T) unsigned char inline_[N * sizeof(T)];
  T* data_ = reinterpret_cast<T*>(inline_);
  T* fixed_ = data_;  // the room that is not the heap's
  size_t size_ = 0;
  size_t capacity_ = N;
};

#endif  // ZUBJEX_PLATFORM_SMALL_VECTOR_H_
