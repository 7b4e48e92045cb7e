// In-memory streams, for hosts and tests: an output stream over a growable buffer and
// an input stream over a byte range.
#ifndef ZUBJEX_PLATFORM_MEMORY_STREAMS_H_
#define ZUBJEX_PLATFORM_MEMORY_STREAMS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "platform/export.h"
#include "platform/streams.h"

// Collects written bytes. The buffer grows geometrically and is kept by Clear, so
// writes of a few bytes allocate nothing once it has grown. A derived stream may bound
// the growth (Grow); encoders treat it as a memory stream all the same. Not thread-safe.
class ZUBPLATFORM_EXPORT btkMemOStream : public btkOStream {
 public:
  btkMemOStream() { SetMemory(); }
  ~btkMemOStream() override;
  btkMemOStream(const btkMemOStream&) = delete;
  btkMemOStream& operator=(const btkMemOStream&) = delete;

  size_t Write(const void* data, size_t count) final {
    if (count == 0) return 0;
    std::memcpy(Extend(count), data, count);
    return count;
  }
  // Room for `count` more bytes at the end, counted as written at once: the caller
  // fills all of them before the next call on the stream. For writers that put a field
  // together in place. Raises std::bad_alloc when the buffer cannot grow.
  uint8_t* Extend(size_t count) {
    if (count > capacity_ - size_) Grow(count);
    uint8_t* at = data_ + size_;
    size_ += count;
    return at;
  }

  // Room for up to `count` more bytes at the end, not yet counted as written: the
  // caller fills a prefix of it and then calls Commit with the end of what it filled,
  // before any other call on the stream. For writers that put several fields together
  // without a bounds check each. Raises std::bad_alloc when the buffer cannot grow.
  uint8_t* Room(size_t count) {
    if (count > capacity_ - size_) Grow(count);
    return data_ + size_;
  }
  // Counts the bytes of the last Room up to `end` as written.
  void Commit(const uint8_t* end) { size_ = static_cast<size_t>(end - data_); }

  const uint8_t* data() const { return data_; }
  size_t size() const { return size_; }
  std::string str() const { return std::string(reinterpret_cast<const char*>(data_), size_); }
  // Forgets the bytes written; keeps the buffer.
  void Clear() { size_ = 0; }

 protected:
  // Makes room for `more` bytes behind the end, or raises; Extend calls it when they do
  // not fit. The default grows the buffer geometrically, without limit; a derived stream
  // that bounds its size checks the bound and grows with Reserve.
  virtual void Grow(size_t more);
  // Reallocates the buffer to `capacity` bytes, at least size(). Raises std::bad_alloc.
  void Reserve(size_t capacity);
  size_t capacity() const { return capacity_; }
  uint8_t* MutableData() { return data_; }

 private:
  uint8_t* data_ = nullptr;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

// Reads from a byte range that the caller keeps alive and unchanged while the stream
// is used. A read past the end raises a zubXException "unexpected end of stream" (or the
// text of a derived stream) and consumes nothing. Not thread-safe.
class ZUBPLATFORM_EXPORT btkMemIStream : public btkIStream {
 public:
  btkMemIStream(const void* data, size_t size)
      : data_(static_cast<const uint8_t*>(data)), size_(size) {
    SetMemory();
  }
  explicit btkMemIStream(const std::string& bytes) : btkMemIStream(bytes.data(), bytes.size()) {}
  // For a derived stream whose reads past the end raise `endText` (a literal).
  btkMemIStream(const void* data, size_t size, const char* endText)
      : data_(static_cast<const uint8_t*>(data)), size_(size), endText_(endText) {
    SetMemory();
  }

  size_t Read(void* data, size_t count) final {
    const uint8_t* at = Consume(count);
    if (count != 0) std::memcpy(data, at, count);
    return count;
  }
  // The next `count` bytes, borrowed from the range and counted as read; raises as Read
  // does (consuming nothing) when fewer remain. For readers that take a field in place.
  const uint8_t* Consume(size_t count) {
    if (count > size_ - pos_) ThrowEndOfStream();
    const uint8_t* at = data_ + pos_;
    pos_ += count;
    return at;
  }

  // The next `count` bytes without consuming them, or null when fewer remain.
  const uint8_t* Peek(size_t count) const { return count <= size_ - pos_ ? data_ + pos_ : nullptr; }

  size_t position() const { return pos_; }
  size_t remaining() const { return size_ - pos_; }
  // Starts again over another range.
  void Reset(const void* data, size_t size) {
    data_ = static_cast<const uint8_t*>(data);
    size_ = size;
    pos_ = 0;
  }

 private:
  [[noreturn]] void ThrowEndOfStream() const;
  const uint8_t* data_;
  size_t size_;
  size_t pos_ = 0;
  const char* endText_ = "unexpected end of stream";
};

#endif  // ZUBJEX_PLATFORM_MEMORY_STREAMS_H_
