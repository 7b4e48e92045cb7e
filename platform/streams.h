// The base library's byte streams. Encoders write through btkOStream::Write and read
// through btkIStream::Read, one call per field, and never look at the counts returned:
// a stream that cannot deliver or take all the bytes asked for must raise (through
// xthrow) instead of returning short.
#ifndef ZUBJEX_PLATFORM_STREAMS_H_
#define ZUBJEX_PLATFORM_STREAMS_H_

#include <cstddef>

#include "platform/export.h"

// The serializer settings of a stream. Mode 1 is the binary mode that the "bins11n"
// encoding requires; the serializer and deserializer refuse streams in any other mode.
class ZUBPLATFORM_EXPORT btkIOSerializer {
 public:
  explicit btkIOSerializer(int mode = 1) : mode_(mode) {}
  int GetMode() const { return mode_; }
  void SetMode(int mode) { mode_ = mode; }

 private:
  int mode_;
};

class ZUBPLATFORM_EXPORT btkStreamBase {
 public:
  virtual ~btkStreamBase();
  // The stream's serializer settings; never null, owned by the stream.
  btkIOSerializer* GetSerializer() { return &serializer_; }
  // True for the memory streams (btkMemOStream, btkMemIStream) and classes derived
  // from them, which encoders read and write in place.
  bool IsMemory() const { return memory_; }

 protected:
  // For the memory streams' constructors.
  void SetMemory() { memory_ = true; }

 private:
  btkIOSerializer serializer_;
  bool memory_ = false;
};

class ZUBPLATFORM_EXPORT btkOStream : public btkStreamBase {
 public:
  // Writes all `count` bytes at `data` and returns count; raises on failure.
  virtual size_t Write(const void* data, size_t count) = 0;
  // Pushes buffered bytes on; the default does nothing.
  virtual void Flush() {}
};

class ZUBPLATFORM_EXPORT btkIStream : public btkStreamBase {
 public:
  // Reads exactly `count` bytes into `data` and returns count; raises when they cannot
  // be had (end of data, a broken connection), never returns short.
  virtual size_t Read(void* data, size_t count) = 0;
};

#endif  // ZUBJEX_PLATFORM_STREAMS_H_
