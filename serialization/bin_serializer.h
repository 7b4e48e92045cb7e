// The "bins11n" binary encoding: fixed-width little-endian primitives, size-prefixed
// strings, tagged values and objects by type name.
//
// Wire grammar (every multi-byte number little-endian, nothing padded or aligned):
//   bool, byte      1 byte, unchanged
//   short/int/long  2/4/8 bytes, two's complement
//   real            8 bytes, IEEE 754 binary64
//   string          width (01|02|04), size in that many bytes, then the size bytes of
//                   the narrow text; size 0 reads back as the nil string
//   any             kind byte (0..10, no 9), then the kind's content (none for 0 and 1)
//   object          null flag (01 null, 00 present); if present: type name (string),
//                   the descriptor's contents, then the listener's data
#ifndef ZUBJEX_SERIALIZATION_BIN_SERIALIZER_H_
#define ZUBJEX_SERIALIZATION_BIN_SERIALIZER_H_

#include <cstdint>
#include <type_traits>

#include "platform/memory_streams.h"
#include "platform/streams.h"
#include "serialization/decode_limits.h"
#include "serialization/export.h"
#include "serialization/sequence_rtti.h"
#include "serialization/serializer.h"

struct zubSharedStringSlot;

// Called after every non-null object that a zubBinSerializer writes (nested objects
// before their containers); may write more fields. Borrowed by the serializer.
class ZUBJEX_EXPORT zubBinSerializerListener {
 public:
  virtual void onPostObjectWrite(xobject* object, zubSerializer* serializer) = 0;

 protected:
  ~zubBinSerializerListener() = default;
};

// Called after every non-null object that a zubBinDeserializer reads; may read more
// fields and may replace the object that the caller receives.
class ZUBJEX_EXPORT zubBinDeserializerListener {
 public:
  virtual void onPostObjectRead(xobject*& object, zubDeserializer* deserializer) = 0;

 protected:
  ~zubBinDeserializerListener() = default;
};

// Writes "bins11n" to a stream: one Write per primitive, two per size prefix, one per
// string body (a memory stream, which cannot tell, gets the parts of a field in one
// Write); no buffering, no allocation. Built on the stack for one message; one thread
// at a time. The stream is borrowed and must not be null.
class ZUBJEX_EXPORT zubBinSerializer : public zubSerializer {
 public:
  // Raises a zubXException "invalid stream mode" when the stream's mode is not 1.
  explicit zubBinSerializer(btkOStream* stream);

  // Replaces the one listener slot; null removes the listener. Borrowed.
  void registerListener(zubBinSerializerListener* listener) {
    listener_ = listener;
    proxiesOnly_ = false;
  }
  // As registerListener, for a listener that does nothing after an object whose
  // descriptor is not a proxy's (the proxy listeners): it is called only after the
  // others, which saves a call per plain object.
  void registerProxyListener(zubBinSerializerListener* listener) {
    listener_ = listener;
    proxiesOnly_ = true;
  }

  void writeBool(unsigned char value) override;
  void writeByte(signed char value) override;
  void writeShort(short value) override;
  void writeInt(int value) override;
  void writeLong(int64_t value) override;
  void writeReal(double value) override;
  // Raises "unsupported string size" above 4294967295 bytes, writing nothing.
  void writeString(xstring value) override;
  // Writes `value` as writeString does, without a copy and without the virtual call
  // (for callers that hold a zubBinSerializer itself, not a derived class).
  void writeText(const xstring& value) { writeSized(value.CastToCString(), value.GetMBSize()); }
  // Raises "invalid type name" or "invalid rtti <type>" after the null flag.
  void writeObject(xobject* object) override;
  // Raises "invalid object kind" for the enum kind, after the tag byte.
  void writeAny(xany value) override;
  // Writes `value` as writeAny does, without a copy and without virtual calls (for
  // callers that hold a zubBinSerializer itself, not a derived class).
  void writeValue(const xany& value) {
    if (memory_ == nullptr || !writeInPlace(value)) writeTagged<true>(value);
  }
  // For the listener called after the contents of `object`: the descriptor that wrote
  // them; null when the serializer is not finishing that object.
  zubBinS11nRtti* descriptorOf(const xobject* object) const {
    return object == finished_ ? finishedDescriptor_ : nullptr;
  }
  // Writes what writeValue writes for a value holding `object` (nil for null), without
  // making that value; as writeValue, for callers that hold a zubBinSerializer itself.
  void writeObjectValue(xobject* object);

 private:
  // One Write per field. A memory stream, whose Write is final, is called without the
  // virtual dispatch, so that fixed-size fields compile to plain stores.
  void write(const void* data, size_t n) {
    if (memory_ != nullptr) {
      memory_->Write(data, n);
    } else {
      stream_->Write(data, n);
    }
  }
  template <class T>
  void writePrimitive(T value) {
    write(&value, sizeof(T));
  }
  // A string of n bytes at `text`: its size prefix, then its bytes. Raises "unsupported
  // string size" above 4294967295 bytes, writing nothing.
  void writeSized(const char* text, uint64_t n);
  void writeSizePrefix(uint64_t n);
  // The tag byte and content of `value`; the fields go through the overridable writers
  // unless kExact (the caller knows that this is exactly a zubBinSerializer).
  template <bool kExact>
  void writeTagged(const xany& value);
  // Writes the values of fixed size and short strings straight into a memory stream;
  // false, having written nothing, for the others.
  bool writeInPlace(const xany& value);
  // The contents of a sequence of that element kind, element by element, when this is
  // exactly a zubBinSerializer and the object is such a sequence (`plain`: the object's
  // type is known to be exactly that sequence class); false, having written nothing,
  // otherwise.
  bool writeElements(zubBinS11nSequenceRtti::ElementKind kind, xobject* object, bool plain);
  // The values from `it` to `end`, each as writeValue writes it.
  void writeValues(const xany* it, const xany* end);

  btkOStream* stream_;
  zubBinSerializerListener* listener_;
  bool proxiesOnly_ = false;  // listener_ is called only after proxies' objects
  btkMemOStream* memory_;     // stream_ when it is a memory stream (or derives from one), else null
  // The object whose listener call is the latest, and its descriptor.
  const xobject* finished_ = nullptr;
  zubBinS11nRtti* finishedDescriptor_ = nullptr;
};

// Reads "bins11n" from a stream. Hostile input never reads garbage or exhausts memory:
// string bodies are allocated only as their bytes arrive (above a small size), what a
// message makes is charged against a budget that grows with the bytes read, and objects
// nest only so deep (serialization/decode_limits.h). Every read raises a zubXException
// "message would take more than <n> bytes of memory per byte read" once the charges
// exceed the budget. Built on the stack for one message; one thread at a time. The
// stream is borrowed and must not be null.
class ZUBJEX_EXPORT zubBinDeserializer : public zubDeserializer {
 public:
  // The default nesting limit (zubBinDecodeLimits::maxObjectDepth).
  static constexpr int kMaxObjectDepth = zubBinDecodeLimits::kDefaultMaxObjectDepth;

  // Raises a zubXException "invalid stream mode" when the stream's mode is not 1. The
  // budget counts the bytes read from here on.
  explicit zubBinDeserializer(btkIStream* stream,
                              const zubBinDecodeLimits& limits = zubBinDecodeLimits());

  // Replaces the limits; what was charged so far stays charged.
  void setLimits(const zubBinDecodeLimits& limits) { limits_ = limits; }

  void registerListener(zubBinDeserializerListener* listener) {
    listener_ = listener;
    proxiesOnly_ = false;
  }
  // As registerListener, for a listener that does nothing after a plain sequence that
  // this reader made itself (see madePlainSequence; the proxy listeners): it is not
  // called after those, which saves a call per such sequence.
  void registerProxyListener(zubBinDeserializerListener* listener) {
    listener_ = listener;
    proxiesOnly_ = true;
  }

  void readBool(unsigned char& value) override;
  void readByte(signed char& value) override;
  void readShort(short& value) override;
  void readInt(int& value) override;
  void readLong(int64_t& value) override;
  void readReal(double& value) override;
  // Raises "unsupported string size" for a width byte other than 01, 02, 04.
  void readString(xstring& value) override;
  // Raises "invalid type name" or "invalid rtti <type>"; descriptor errors pass through.
  void readObject(xobject*& object) override;
  // Raises "invalid object kind" for the tags 09 and 0B to FF.
  void readAny(xany& value) override;
  // Read as readString and readAny do, without virtual calls (for callers that hold a
  // zubBinDeserializer itself, not a derived class).
  void readText(xstring& value) { readString(value, readStringSize()); }
  void readValue(xany& value) {
    if (memory_ == nullptr || !readInPlace(value)) readTagged<true>(value);
  }
  // For the listener called after `object` was read: true when this reader made it
  // itself as a plain xstringsequence or xanysequence, which is never a proxy.
  bool madePlainSequence(const xobject* object) const { return object == plainSequence_; }
  // `object` as a `Seq` (xanysequence or xstringsequence) when this reader made it
  // itself as exactly that class; null otherwise (then cast it the general way). Saves
  // the walk of a softcast for the sequences that the reader makes.
  template <class Seq>
  Seq* plainSequenceAs(xobject* object) const {
    constexpr auto kind = std::is_same<Seq, xanysequence>::value
                              ? zubBinS11nSequenceRtti::kValueElements
                              : zubBinS11nSequenceRtti::kStringElements;
    return object == plainSequence_ && plainKind_ == kind ? static_cast<Seq*>(object) : nullptr;
  }
  // Reads a tagged value that should hold an object, as readValue does: true with the
  // object (null for nil; no reference of its own, as readObject gives it) for the kinds
  // nil and object, false (and null) for any other kind, whose value is read and dropped.
  bool readObjectValue(xobject*& object);
  // Reads a string and tells whether it equals `expected` (the empty string on the wire
  // reads as nil), without making a copy of a short one.
  bool readTextEquals(const xstring& expected);
  // Reads a string naming a type: the registered type of that name, null for the nil
  // string or a name that is not registered.
  xrtti* readTypeByName();

 private:
  // One Read per field; a memory stream is called without the virtual dispatch. Only
  // the other streams' bytes are counted here: a memory stream counts its own.
  void read(void* data, size_t n) {
    if (memory_ != nullptr) {
      memory_->Read(data, n);
    } else {
      stream_->Read(data, n);
      streamBytesRead_ += n;
    }
  }
  // Bytes consumed since construction.
  uint64_t bytesRead() const {
    return memory_ != nullptr ? memory_->position() - memoryStart_ : streamBytesRead_;
  }
  // Adds `bytes` to the charges; raises when they exceed the budget. Cheap enough for
  // every allocation, not for every element: sequences charge their room as it grows.
  // Within the allowance (all of most messages) it is one compare: the bytes read are
  // counted only beyond it.
  void charge(uint64_t bytes) {
    charged_ += bytes;
    if (charged_ > limits_.allowance) checkBeyondAllowance();
  }
  void checkBeyondAllowance() const;
  template <class T>
  void readPrimitive(T& value) {
    read(&value, sizeof(T));
  }
  uint64_t readStringSize();
  void readString(xstring& s, uint64_t size);
  // The next `size` bytes (at most 24): in place in a memory stream, else read into
  // `local`.
  const uint8_t* readShortText(uint8_t* local, uint64_t size);
  // Reads a text of 1 to 24 bytes into the slot where this thread keeps it (made afresh
  // when the slot held another); the slot, valid until the next short text read.
  zubSharedStringSlot* readSharedSlot(uint64_t size);
  // The miss of readSharedSlot, out of its way: `slot` made to keep `text`.
  zubSharedStringSlot* refillSharedSlot(zubSharedStringSlot& slot, const uint8_t* text,
                                        uint64_t size, uint64_t head);
  // Reads a text of 1 to 24 bytes as a copy of the one this thread keeps for it.
  void readSharedString(xstring& s, uint64_t size);
  // A new object read by its descriptor; a sequence descriptor's elements are read here,
  // when this is exactly a zubBinDeserializer.
  xobject* createObject(zubBinS11nRtti* descriptor, const zubBinS11nSequenceRtti* sequence);
  // A new sequence of that element kind, read element by element.
  xobject* readElements(zubBinS11nSequenceRtti::ElementKind kind);
  // A new `Seq` of `count` elements, read and appended in its room by `readSome` (given
  // the sequence and the most it may append; it appends at least one and returns how
  // many), the room charged as it is made; freed when a read fails.
  template <class Seq, class Element, class ReadSome>
  Seq* readSequence(int32_t count, ReadSome&& readSome);
  // Makes in the room of `seq` the values of fixed size that start a memory stream's
  // unread bytes, at most `most` of them, and consumes their bytes: the number made (0
  // when the next value is of another kind or not all there).
  int32_t takeFixedValues(xanysequence& seq, int32_t most);
  // Makes room for more elements of `seq` (which holds `room`, full, of which `heapRoom`
  // on the heap), at most `count` in all; the new room.
  template <class Seq, class Element>
  int32_t growRoom(Seq& seq, int32_t room, int32_t& heapRoom, int32_t count);
  int32_t readSequenceCount();
  // The tag byte and content of a value; the fields go through the overridable readers
  // unless kExact (the caller knows that this is exactly a zubBinDeserializer).
  template <bool kExact>
  void readTagged(xany& value);
  template <bool kExact>
  void readContent(unsigned char tag, xany& value);
  // Reads the values of fixed size straight from a memory stream; false, having read
  // nothing, for the others and when the stream holds too few bytes.
  bool readInPlace(xany& value);

  btkIStream* stream_;
  zubBinDeserializerListener* listener_;
  bool proxiesOnly_ = false;  // listener_ is not called after plain sequences
  btkMemIStream* memory_;     // stream_ when it is a memory stream (or derives from one), else null
  zubSharedStringSlot* shared_;  // this thread's short strings
  zubBinDecodeLimits limits_;
  size_t memoryStart_;            // memory_'s position at construction
  uint64_t streamBytesRead_ = 0;  // bytes read from a stream that is not memory_
  uint64_t charged_ = 0;          // against the decoding budget
  int depth_ = 0;
  const xobject* plainSequence_ = nullptr;  // the latest sequence made in place
  zubBinS11nSequenceRtti::ElementKind plainKind_ = zubBinS11nSequenceRtti::kValueElements;
};

#endif  // ZUBJEX_SERIALIZATION_BIN_SERIALIZER_H_
