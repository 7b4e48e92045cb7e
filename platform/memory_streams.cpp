#include "platform/memory_streams.h"

#include <cstdlib>
#include <new>

#include "platform/exceptions.h"

btkMemOStream::~btkMemOStream() { std::free(data_); }

void btkMemOStream::Grow(size_t more) {
  size_t wanted = size_ + more;
  size_t capacity = capacity_ == 0 ? 256 : capacity_;
  while (capacity < wanted) capacity *= 2;
  Reserve(capacity);
}

void btkMemOStream::Reserve(size_t capacity) {
  void* grown = std::realloc(data_, capacity);
  if (grown == nullptr) throw std::bad_alloc();
  data_ = static_cast<uint8_t*>(grown);
  capacity_ = capacity;
}

void btkMemIStream::ThrowEndOfStream() const { xthrowException(endText_); }
