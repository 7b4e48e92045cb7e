#include "serialization/bin_serializer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <typeinfo>
#include <utility>

#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"
#include "serialization/sequence_rtti.h"
#include "serialization/type_lookup.h"

// The slot of a short text read; `text` and `size` repeat the buffer's text so that a
// match is a few word compares without a visit to the buffer. What the slot remembers
// of the type of that name is valid while its generation equals the type registry's
// (0: not known).
struct zubSharedStringSlot {
  btkStrBuf* buffer;
  zubBinS11nRtti* descriptor;  // of the type of that name, valid in descriptorGeneration
  const zubBinS11nSequenceRtti* sequence;  // the descriptor as a sequence one, or null
  xrtti* type;                             // the type of that name, valid in typeGeneration
  uint64_t descriptorGeneration;
  uint64_t typeGeneration;
  uint64_t size;
  uint64_t head;  // ShortTextHead of the text
  char text[24];
};

namespace {

// String bodies up to this size, and bodies whose bytes a memory stream already holds,
// are read with one allocation and one Read. Larger ones from other streams are read
// into room that starts at this size and doubles as the bytes arrive, so that a size
// prefix that lies costs no more memory than twice the bytes that actually arrived.
constexpr uint64_t kStringChunk = 64 * 1024;

// Width bytes of the string size prefix.
constexpr unsigned char kWidth1 = 0x01;
constexpr unsigned char kWidth2 = 0x02;
constexpr unsigned char kWidth4 = 0x04;

// Short strings (the names of messages, methods, parameters and types) recur in every
// message. Each thread keeps the last ones it read, one lock held on each buffer, and
// hands out shared copies of them instead of allocating; xstrings never change their
// text, so the sharing is invisible. A slot also remembers the registered type and the
// descriptor of that name while the type registry is unchanged. The slots are plain data; the
// owner, made on the thread's first miss, drops the locks when the thread ends.
constexpr uint64_t kSharedStringMax = 24;
constexpr size_t kSharedStringSlots = 128;
static_assert(sizeof(zubSharedStringSlot::text) == kSharedStringMax, "slot text size");
thread_local zubSharedStringSlot sharedStrings[kSharedStringSlots];

struct SharedStringsOwner {
  ~SharedStringsOwner() {
    for (zubSharedStringSlot& slot : sharedStrings) {
      if (slot.buffer != nullptr) slot.buffer->Unlock();
      slot.buffer = nullptr;
    }
  }
};
thread_local SharedStringsOwner sharedStringsOwner;

// The n bytes at p (n from 1 to 8) as a little-endian number, zero above them, read
// with loads that stay inside the n bytes.
inline uint64_t LoadUpTo8(const uint8_t* p, size_t n) {
  if (n >= 8) {
    uint64_t v;
    std::memcpy(&v, p, 8);
    return v;
  }
  if (n >= 4) {
    uint32_t low;
    uint32_t high;
    std::memcpy(&low, p, 4);
    std::memcpy(&high, p + n - 4, 4);
    return low | (static_cast<uint64_t>(high) << ((n - 4) * 8));
  }
  return p[0] | (static_cast<uint64_t>(p[n / 2]) << (n / 2 * 8)) |
         (static_cast<uint64_t>(p[n - 1]) << ((n - 1) * 8));
}

// Copies the n bytes at `from` to `to`; texts of up to 16 bytes (names) with a few
// overlapping loads and stores instead of a call of memcpy. The same bytes either way.
inline void CopyText(uint8_t* to, const char* from, size_t n) {
  if (n > 16) {
    std::memcpy(to, from, n);
  } else if (n >= 8) {
    uint64_t head;
    uint64_t tail;
    std::memcpy(&head, from, 8);
    std::memcpy(&tail, from + n - 8, 8);
    std::memcpy(to, &head, 8);
    std::memcpy(to + n - 8, &tail, 8);
  } else if (n >= 4) {
    uint32_t head;
    uint32_t tail;
    std::memcpy(&head, from, 4);
    std::memcpy(&tail, from + n - 4, 4);
    std::memcpy(to, &head, 4);
    std::memcpy(to + n - 4, &tail, 4);
  } else if (n > 0) {
    to[0] = static_cast<uint8_t>(from[0]);
    to[n / 2] = static_cast<uint8_t>(from[n / 2]);
    to[n - 1] = static_cast<uint8_t>(from[n - 1]);
  }
}

// The first bytes of a short text (1 to 24 bytes), up to 8, as a number: what a slot is
// found by and compared on first.
inline uint64_t ShortTextHead(const uint8_t* text, size_t n) {
  return LoadUpTo8(text, n < 8 ? n : 8);
}

// A text of at most 255 bytes as writeSized writes it, put together in a memory stream
// (which cannot tell one Write of the prefix and the bytes from three); inline where
// names are written in a row, which saves a call per name.
inline void PutShortText(btkMemOStream* memory, const char* text, uint64_t n) {
  uint8_t* at = memory->Extend(2 + n);
  at[0] = kWidth1;
  at[1] = static_cast<uint8_t>(n);
  CopyText(at + 2, text, n);
}

// Whether the n bytes at a and b (n from 9 to 24) are the same beyond their first 8.
inline bool SameShortTextTail(const uint8_t* a, const uint8_t* b, size_t n) {
  uint64_t diff = LoadUpTo8(a + n - 8, 8) ^ LoadUpTo8(b + n - 8, 8);
  if (n > 16) diff |= LoadUpTo8(a + 8, 8) ^ LoadUpTo8(b + 8, 8);
  return diff == 0;
}

// A cheap spread of short texts over the slots: their first bytes and their size, mixed
// by one multiplication. The slot's content decides.
inline size_t SharedStringHash(uint64_t head, size_t size) {
  static_assert(kSharedStringSlots == 128, "the hash keeps the top 7 bits");
  return static_cast<size_t>(((head + size) * 0x9E3779B97F4A7C15ull) >> 57);
}

// The stream as a memory stream when it is one, also of a derived class (which cannot
// change the final Read or Write, only bound the growth or name the end), else null.
template <class Memory, class Stream>
Memory* MemoryUnderneath(Stream* stream) {
  return stream->IsMemory() ? static_cast<Memory*>(stream) : nullptr;
}

void CheckStreamMode(btkStreamBase* stream) {
  if (stream->GetSerializer()->GetMode() != 1) xthrowException("invalid stream mode");
}

zubBinS11nRtti* DescriptorOrThrow(const xstring& typeName) {
  if (typeName.IsNil()) xthrowException("invalid type name");
  zubBinS11nRtti* d = zubBinS11nRttiGetDescriptor(typeName.CastToCString());
  if (d == nullptr) xthrowException(xstring("invalid rtti ") + typeName);
  return d;
}

// The descriptor of the type named by the text in `slot` (remembered there while the
// type registry is unchanged) and, when it is a sequence descriptor, that one too;
// raises as DescriptorOrThrow.
zubBinS11nRtti* SlotDescriptorOrThrow(zubSharedStringSlot& slot,
                                      const zubBinS11nSequenceRtti*& sequence) {
  const uint64_t generation = zubRttiGeneration();
  if (slot.descriptorGeneration != generation) {
    const xstring typeName(__xstring_c{slot.buffer, slot.buffer->MB(), nullptr}, true);
    slot.descriptor = DescriptorOrThrow(typeName);
    slot.sequence = dynamic_cast<const zubBinS11nSequenceRtti*>(slot.descriptor);
    slot.descriptorGeneration = generation;
  }
  sequence = slot.sequence;
  return slot.descriptor;
}

// The most bytes that PutFixedValue writes: a tag and 8 bytes of content.
constexpr size_t kFixedValueMax = 9;

// Puts the tag and content of `value` at `at` when its kind has a content of fixed size
// (none, int, long, byte, short, bool, real), as writeTagged would write them; the end
// of what was put, or null, having put nothing, for the other kinds.
inline uint8_t* PutFixedValue(uint8_t* at, const xany& value) {
  const __xanykind kind = value.getKind();
  at[0] = static_cast<uint8_t>(kind);
  switch (kind) {
    case xany_uninit:
    case xany_nil:
      return at + 1;
    case xany_int: {
      const xint v = value.toInt();
      std::memcpy(at + 1, &v, sizeof v);
      return at + 1 + sizeof v;
    }
    case xany_long: {
      const xlong v = value.toLong();
      std::memcpy(at + 1, &v, sizeof v);
      return at + 1 + sizeof v;
    }
    case xany_byte:
      at[1] = static_cast<uint8_t>(value.toByte());
      return at + 2;
    case xany_short: {
      const xshort v = value.toShort();
      std::memcpy(at + 1, &v, sizeof v);
      return at + 1 + sizeof v;
    }
    case xany_bool:
      at[1] = value.toBool();
      return at + 2;
    case xany_real: {
      const xreal v = value.toReal();
      std::memcpy(at + 1, &v, sizeof v);
      return at + 1 + sizeof v;
    }
    default:
      return nullptr;
  }
}

// The tag byte and `Number` at `at`, when `available` bytes hold them: the number given
// to `take`, and the bytes taken; 0, giving nothing, when they do not.
template <class Number, class Take>
size_t TakeNumber(const uint8_t* at, size_t available, Take& take) {
  if (available < 1 + sizeof(Number)) return 0;
  Number number;
  std::memcpy(&number, at + 1, sizeof number);
  take(number);
  return 1 + sizeof number;
}

// A value of fixed size (no content, int, long, byte, short, bool, real) whose tag starts
// the `available` bytes at `at`: `take` is given what readContent assigns for it (the
// typed number, or the nil or uninit value), and the bytes it took on the wire are
// returned; 0, giving nothing, for the other tags and when its bytes are not all there.
template <class Take>
size_t TakeFixedValue(const uint8_t* at, size_t available, Take&& take) {
  if (available == 0) return 0;
  switch (at[0]) {
    case xany_uninit:
      take(xany::Uninit());
      return 1;
    case xany_nil:
      take(xany::Nil());
      return 1;
    case xany_int:
      return TakeNumber<xint>(at, available, take);
    case xany_long:
      return TakeNumber<xlong>(at, available, take);
    case xany_byte:
      return TakeNumber<xbyte>(at, available, take);
    case xany_short:
      return TakeNumber<xshort>(at, available, take);
    case xany_bool:
      return TakeNumber<xbool>(at, available, take);
    case xany_real:
      return TakeNumber<xreal>(at, available, take);
    default:
      return 0;
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------
// Writing

zubBinSerializer::zubBinSerializer(btkOStream* stream)
    : stream_(stream), listener_(nullptr), memory_(MemoryUnderneath<btkMemOStream>(stream)) {
  CheckStreamMode(stream_);
}

void zubBinSerializer::writeBool(unsigned char value) { writePrimitive(value); }
void zubBinSerializer::writeByte(signed char value) { writePrimitive(value); }
void zubBinSerializer::writeShort(short value) { writePrimitive(value); }
void zubBinSerializer::writeInt(int value) { writePrimitive(value); }
void zubBinSerializer::writeLong(int64_t value) { writePrimitive(value); }
void zubBinSerializer::writeReal(double value) { writePrimitive(value); }

void zubBinSerializer::writeSizePrefix(uint64_t n) {
  if (n <= 0xFF) {
    writePrimitive(kWidth1);
    writePrimitive(static_cast<unsigned char>(n));
  } else if (n <= 0xFFFF) {
    writePrimitive(kWidth2);
    writePrimitive(static_cast<unsigned short>(n));
  } else if (n <= 0xFFFFFFFFu) {
    writePrimitive(kWidth4);
    writePrimitive(static_cast<unsigned int>(n));
  } else {
    xthrowException("unsupported string size");
  }
}

void zubBinSerializer::writeSized(const char* text, uint64_t n) {
  if (n <= 0xFF && memory_ != nullptr) return PutShortText(memory_, text, n);
  writeSizePrefix(n);
  if (n > 0) write(text, n);
}

void zubBinSerializer::writeString(xstring value) { writeText(value); }

void zubBinSerializer::writeObject(xobject* object) {
  writeBool(object == nullptr);
  if (object == nullptr) return;
  zubBinS11nRtti* descriptor = nullptr;
  const zubBinS11nSequenceRtti* sequence = nullptr;
  bool plain = false;
  bool isProxy = false;
  if (const zubS11nTypeEntry* type = zubS11nFindType(object)) {
    descriptor = type->descriptor;
    sequence = type->sequence;
    plain = type->plainSequence;
    isProxy = type->isProxy;
    writeSized(type->name, type->size);
  } else {
    const xstring typeName = object->getZubTypeName();
    descriptor = DescriptorOrThrow(typeName);
    sequence = dynamic_cast<const zubBinS11nSequenceRtti*>(descriptor);
    isProxy = descriptor->isProxy(nullptr);
    writeText(typeName);
  }
  if (sequence == nullptr || !writeElements(sequence->elementKind, object, plain)) {
    descriptor->serialize(this, xrcunihandle<xobject>(object));
  }
  if (listener_ == nullptr || (proxiesOnly_ && !isProxy)) return;
  finished_ = object;
  finishedDescriptor_ = descriptor;
  listener_->onPostObjectWrite(object, this);
}

// A memory stream cannot tell one Write of the tag and the content from several.
bool zubBinSerializer::writeInPlace(const xany& value) {
  if (value.getKind() == xany_string) {
    const size_t n = value.stringSize();
    if (n > 0xFF) return false;
    uint8_t* at = memory_->Extend(3 + n);
    at[0] = static_cast<uint8_t>(xany_string);
    at[1] = kWidth1;
    at[2] = static_cast<uint8_t>(n);
    std::memcpy(at + 3, value.stringText(), n);
    return true;
  }
  uint8_t* end = PutFixedValue(memory_->Room(kFixedValueMax), value);
  if (end == nullptr) return false;
  memory_->Commit(end);
  return true;
}

bool zubBinSerializer::writeElements(zubBinS11nSequenceRtti::ElementKind kind, xobject* object,
                                     bool plain) {
  if (typeid(*this) != typeid(zubBinSerializer)) return false;
  if (kind == zubBinS11nSequenceRtti::kValueElements) {
    const xanysequence* seq =
        plain ? static_cast<const xanysequence*>(object) : xanysequence::softcast(object);
    if (seq == nullptr) return false;
    writePrimitive(seq->getCount());
    writeValues(seq->begin(), seq->end());
    return true;
  }
  const xstringsequence* seq =
      plain ? static_cast<const xstringsequence*>(object) : xstringsequence::softcast(object);
  if (seq == nullptr) return false;
  writePrimitive(seq->getCount());
  for (const xstring& v : *seq) {
    const size_t n = v.GetMBSize();
    if (n <= 0xFF && memory_ != nullptr) {
      PutShortText(memory_, v.CastToCString(), n);
    } else {
      writeText(v);
    }
  }
  return true;
}

// Into a memory stream, runs of values of fixed size are put together in room made once
// per run (what saves the bounds check and the call per value); each other value, and
// every value for another stream, goes through writeValue. The same bytes either way.
void zubBinSerializer::writeValues(const xany* it, const xany* end) {
  constexpr ptrdiff_t kRun = 64;
  while (it != end) {
    if (memory_ != nullptr) {
      const ptrdiff_t run = std::min(end - it, kRun);
      uint8_t* at = memory_->Room(static_cast<size_t>(run) * kFixedValueMax);
      for (const xany* runEnd = it + run; it != runEnd; ++it) {
        if (it->getKind() == xany_int) {  // the common element, without the switch
          const xint v = it->toInt();
          at[0] = static_cast<uint8_t>(xany_int);
          std::memcpy(at + 1, &v, sizeof v);
          at += 1 + sizeof v;
          continue;
        }
        uint8_t* next = PutFixedValue(at, *it);
        if (next == nullptr) break;
        at = next;
      }
      memory_->Commit(at);
      if (it == end) return;
    }
    writeValue(*it++);
  }
}

template <bool kExact>
void zubBinSerializer::writeTagged(const xany& value) {
  const __xanykind kind = value.getKind();
  writePrimitive(static_cast<unsigned char>(kind));
  switch (kind) {
    case xany_uninit:
    case xany_nil:
      return;
    case xany_int:
      return kExact ? zubBinSerializer::writeInt(value.toInt()) : writeInt(value.toInt());
    case xany_long:
      return kExact ? zubBinSerializer::writeLong(value.toLong()) : writeLong(value.toLong());
    case xany_byte:
      return kExact ? zubBinSerializer::writeByte(value.toByte()) : writeByte(value.toByte());
    case xany_short:
      return kExact ? zubBinSerializer::writeShort(value.toShort()) : writeShort(value.toShort());
    case xany_bool:
      return kExact ? zubBinSerializer::writeBool(value.toBool()) : writeBool(value.toBool());
    case xany_real:
      return kExact ? zubBinSerializer::writeReal(value.toReal()) : writeReal(value.toReal());
    case xany_string:
      if (kExact) return writeSized(value.stringText(), value.stringSize());
      return writeString(value.toString());
    case xany_object:
      return kExact ? zubBinSerializer::writeObject(value.toObject())
                    : writeObject(value.toObject());
    default:
      xthrowException("invalid object kind");
  }
}

template void zubBinSerializer::writeTagged<true>(const xany& value);

void zubBinSerializer::writeAny(xany value) { writeTagged<false>(value); }

void zubBinSerializer::writeObjectValue(xobject* object) {
  if (object == nullptr) return writePrimitive(static_cast<unsigned char>(xany_nil));
  writePrimitive(static_cast<unsigned char>(xany_object));
  zubBinSerializer::writeObject(object);
}

// ---------------------------------------------------------------------------------------
// Reading

void zubBinDeserializer::readBool(unsigned char& value) { readPrimitive(value); }
void zubBinDeserializer::readByte(signed char& value) { readPrimitive(value); }
void zubBinDeserializer::readShort(short& value) { readPrimitive(value); }
void zubBinDeserializer::readInt(int& value) { readPrimitive(value); }
void zubBinDeserializer::readLong(int64_t& value) { readPrimitive(value); }
void zubBinDeserializer::readReal(double& value) { readPrimitive(value); }

zubBinDeserializer::zubBinDeserializer(btkIStream* stream, const zubBinDecodeLimits& limits)
    : stream_(stream),
      listener_(nullptr),
      memory_(MemoryUnderneath<btkMemIStream>(stream)),
      shared_(sharedStrings),
      limits_(limits),
      memoryStart_(memory_ != nullptr ? memory_->position() : 0) {
  CheckStreamMode(stream_);
}

void zubBinDeserializer::checkBeyondAllowance() const {
  if (charged_ - limits_.allowance <= limits_.maxBytesPerByteRead * bytesRead()) return;
  xthrowException(
      xstring(("message would take more than " + std::to_string(limits_.maxBytesPerByteRead) +
               " bytes of memory per byte read")
                  .c_str()));
}

const uint8_t* zubBinDeserializer::readShortText(uint8_t* local, uint64_t size) {
  if (memory_ != nullptr) return memory_->Consume(size);
  read(local, size);
  return local;
}

zubSharedStringSlot* zubBinDeserializer::readSharedSlot(uint64_t size) {
  uint8_t local[kSharedStringMax];
  const uint8_t* text = readShortText(local, size);
  const uint64_t head = ShortTextHead(text, size);
  zubSharedStringSlot& slot = shared_[SharedStringHash(head, size)];
  if (slot.buffer != nullptr && slot.size == size && slot.head == head &&
      (size <= 8 || SameShortTextTail(reinterpret_cast<const uint8_t*>(slot.text), text, size))) {
    return &slot;
  }
  return refillSharedSlot(slot, text, size, head);
}

zubSharedStringSlot* zubBinDeserializer::refillSharedSlot(zubSharedStringSlot& slot,
                                                          const uint8_t* text, uint64_t size,
                                                          uint64_t head) {
  (void)&sharedStringsOwner;  // made with the first buffer the thread keeps
  charge(size + kZubDecodeStringCost);
  btkStrBuf* fresh = btkStrBuf::CopyMB(reinterpret_cast<const char*>(text), size);
  if (slot.buffer != nullptr) slot.buffer->Unlock();
  slot = zubSharedStringSlot{fresh, nullptr, nullptr, nullptr, 0, 0, size, head, {}};
  std::memcpy(slot.text, text, size);
  return &slot;
}

void zubBinDeserializer::readSharedString(xstring& s, uint64_t size) {
  btkStrBuf* buffer = readSharedSlot(size)->buffer;
  s = xstring(__xstring_c{buffer, buffer->MB(), nullptr}, true);
}

bool zubBinDeserializer::readTextEquals(const xstring& expected) {
  const uint64_t size = readStringSize();
  if (size == 0 || size > kSharedStringMax) {
    xstring text;
    readString(text, size);
    return text == expected;
  }
  uint8_t local[kSharedStringMax];
  const uint8_t* text = readShortText(local, size);
  return !expected.IsNil() && expected.GetMBSize() == size &&
         std::memcmp(expected.CastToCString(), text, size) == 0;
}

xrtti* zubBinDeserializer::readTypeByName() {
  const uint64_t size = readStringSize();
  if (size == 0 || size > kSharedStringMax) {
    xstring name;
    readString(name, size);
    return name.IsNil() ? nullptr : zubRttiGetFromMap(name.CastToCString());
  }
  zubSharedStringSlot* slot = readSharedSlot(size);
  const uint64_t generation = zubRttiGeneration();
  if (slot->typeGeneration != generation) {
    slot->type = zubRttiGetFromMap(slot->buffer->MB());
    slot->typeGeneration = generation;
  }
  return slot->type;
}

uint64_t zubBinDeserializer::readStringSize() {
  if (memory_ != nullptr) {
    const uint8_t* at = memory_->Peek(2);
    if (at != nullptr && at[0] == kWidth1) {
      memory_->Consume(2);
      return at[1];
    }
  }
  unsigned char width = 0;
  readPrimitive(width);
  switch (width) {
    case kWidth1: {
      unsigned char n = 0;
      readPrimitive(n);
      return n;
    }
    case kWidth2: {
      unsigned short n = 0;
      readPrimitive(n);
      return n;
    }
    case kWidth4: {
      unsigned int n = 0;
      readPrimitive(n);
      return n;
    }
    default:
      xthrowException("unsupported string size");
  }
}

void zubBinDeserializer::readString(xstring& s, uint64_t size) {
  if (size == 0) {
    s = xstring();
    return;
  }
  // The runtime's string buffers hold at most INT32_MAX bytes.
  if (size > static_cast<uint64_t>(std::numeric_limits<int32_t>::max())) {
    xthrowException("unsupported string size");
  }
  if (size <= kSharedStringMax) {
    readSharedString(s, size);
    return;
  }
  char* text = nullptr;
  xstring body;  // owns the buffer before a Read can raise
  // Room for the whole body at once when it is small or its bytes are all there;
  // otherwise a piece, grown as the bytes arrive (doubling, so that a size prefix that
  // lies costs at most twice the bytes that actually arrived).
  const bool whole = size <= kStringChunk || (memory_ != nullptr && memory_->remaining() >= size);
  uint64_t room = whole ? size : kStringChunk;
  body.Assign(__xstring_c{btkStrBuf::AllocMB(static_cast<int32_t>(room), &text), text, nullptr},
              false);
  for (uint64_t have = 0; have < size; have = room) {
    if (have == room) {
      room = std::min(size, room * 2);
      // Nobody else holds the buffer yet: it may move.
      btkStrBuf* grown =
          btkStrBuf::ResizeMB(body.Detach().buffer, static_cast<int32_t>(room), &text);
      body.Assign(__xstring_c{grown, text, nullptr}, false);
    }
    read(text + have, room - have);
    // Above kStringChunk the bytes are charged as they arrive and once more with the
    // buffer (what a message may make is the same whatever its stream).
    if (size > kStringChunk) charge(room - have);
  }
  charge(size + kZubDecodeStringCost);  // once the bytes that pay for it have arrived
  s = std::move(body);
}

void zubBinDeserializer::readString(xstring& value) { readString(value, readStringSize()); }

xobject* zubBinDeserializer::createObject(zubBinS11nRtti* descriptor,
                                          const zubBinS11nSequenceRtti* sequence) {
  plainSequence_ = nullptr;  // an address freed since may come back for this object
  if (sequence != nullptr && typeid(*this) == typeid(zubBinDeserializer)) {
    xobject* made = readElements(sequence->elementKind);
    plainSequence_ = made;
    plainKind_ = sequence->elementKind;
    return made;
  }
  charge(kZubDecodeObjectCost);
  void* instance = descriptor->create();
  try {
    descriptor->deserialize(this, instance);
  } catch (...) {
    xrcdisposeUnreferenced(descriptor->cast(instance));
    throw;
  }
  return descriptor->cast(instance);
}

bool zubBinDeserializer::readInPlace(xany& value) {
  const size_t taken = TakeFixedValue(memory_->Peek(0), memory_->remaining(),
                                      [&value](const auto& v) { value = v; });
  if (taken == 0) return false;
  memory_->Consume(taken);
  return true;
}

// The run is taken with one look at the stream's bytes and one Consume: what saves a
// temporary value, a call and a bounds check of the stream per element.
int32_t zubBinDeserializer::takeFixedValues(xanysequence& seq, int32_t most) {
  const uint8_t* const start = memory_->Peek(0);
  const uint8_t* at = start;
  size_t available = memory_->remaining();
  xany* const room = seq.spareRoom();
  int32_t made = 0;
  for (; made < most; ++made) {
    // Ints, the common element, in a loop of their own.
    constexpr size_t kIntBytes = 1 + sizeof(xint);
    for (; made < most && available >= kIntBytes && at[0] == xany_int; ++made) {
      xint v;
      std::memcpy(&v, at + 1, sizeof v);
      new (room + made) xany(v);
      at += kIntBytes;
      available -= kIntBytes;
    }
    if (made == most) break;
    xany* const to = room + made;
    const size_t taken = TakeFixedValue(at, available, [to](const auto& v) { new (to) xany(v); });
    if (taken == 0) break;
    at += taken;
    available -= taken;
  }
  seq.madeInRoom(made);
  memory_->Consume(static_cast<size_t>(at - start));
  return made;
}

int32_t zubBinDeserializer::readSequenceCount() {
  int32_t count = 0;
  readPrimitive(count);
  zubBinCheckSequenceCount(count);
  return count;
}

// The sequence is made with room for the first kZubSequenceReserveMax elements; the
// room grows here rather than in append, so that every growth is charged before it is
// made. Elements in the room cost nothing more: the room's check covers them.
template <class Seq, class Element, class ReadSome>
Seq* zubBinDeserializer::readSequence(int32_t count, ReadSome&& readSome) {
  int32_t room = std::min(count, kZubSequenceReserveMax);
  int32_t heapRoom = 0;
  charge(sizeof(Seq) + kZubDecodeAllocationCost + uint64_t{sizeof(Element)} * room);
  Seq* seq = Seq::create(room);
  try {
    for (int32_t i = 0;; room = growRoom<Seq, Element>(*seq, room, heapRoom, count)) {
      while (i < room) i += readSome(*seq, room - i);
      if (i == count) break;
    }
  } catch (...) {
    xrcdisposeUnreferenced(seq);
    throw;
  }
  return seq;
}

// By half at a time: a list that grows by doubling holds up to twice the room it uses.
// The first room on the heap is charged whole, with its allocation (the room made with
// the sequence stays allocated); later ones the room they add.
template <class Seq, class Element>
int32_t zubBinDeserializer::growRoom(Seq& seq, int32_t room, int32_t& heapRoom, int32_t count) {
  const int32_t grown = room + std::min(room / 2 + 1, count - room);
  charge(uint64_t{sizeof(Element)} * static_cast<uint64_t>(grown - heapRoom) +
         (heapRoom == 0 ? kZubDecodeAllocationCost : 0));
  seq.reserve(grown);
  heapRoom = grown;
  return grown;
}

xobject* zubBinDeserializer::readElements(zubBinS11nSequenceRtti::ElementKind kind) {
  const int32_t count = readSequenceCount();
  if (kind == zubBinS11nSequenceRtti::kValueElements) {
    return readSequence<xanysequence, xany>(count, [this](xanysequence& seq, int32_t most) {
      if (memory_ != nullptr) {
        const int32_t made = takeFixedValues(seq, most);
        if (made != 0) return made;
      }
      xany v;
      readTagged<true>(v);
      seq.appendInRoom(std::move(v));
      return 1;
    });
  }
  return readSequence<xstringsequence, xstring>(count, [this](xstringsequence& seq, int32_t) {
    const uint64_t size = readStringSize();
    if (size != 0 && size <= kSharedStringMax) {  // a name: shared, made in its room
      btkStrBuf* buffer = readSharedSlot(size)->buffer;
      seq.appendInRoom(xstring(__xstring_c{buffer, buffer->MB(), nullptr}, true));
      return 1;
    }
    xstring v;
    readString(v, size);
    seq.appendInRoom(std::move(v));
    return 1;
  });
}

void zubBinDeserializer::readObject(xobject*& object) {
  unsigned char isNull = 0;
  readBool(isNull);
  if (isNull != 0) {
    object = nullptr;
    return;
  }
  xstring typeName;
  zubSharedStringSlot* slot = nullptr;
  const uint64_t typeNameSize = readStringSize();
  if (typeNameSize > 0 && typeNameSize <= kSharedStringMax) {
    slot = readSharedSlot(typeNameSize);
  } else {
    readString(typeName, typeNameSize);
  }

  struct DepthGuard {
    int& depth;
    explicit DepthGuard(int& d) : depth(d) { ++depth; }
    ~DepthGuard() { --depth; }
  } guard(depth_);
  if (depth_ > limits_.maxObjectDepth) xthrowException("object nesting too deep");

  const zubBinS11nSequenceRtti* sequence = nullptr;
  zubBinS11nRtti* descriptor = nullptr;
  if (slot != nullptr) {
    descriptor = SlotDescriptorOrThrow(*slot, sequence);
  } else {
    descriptor = DescriptorOrThrow(typeName);
    sequence = dynamic_cast<const zubBinS11nSequenceRtti*>(descriptor);
  }
  object = createObject(descriptor, sequence);
  if (listener_ == nullptr || (proxiesOnly_ && object == plainSequence_)) return;
  try {
    listener_->onPostObjectRead(object, this);
  } catch (...) {
    // A listener that replaced the object took over the one it replaced.
    xrcdisposeUnreferenced(object);
    object = nullptr;
    throw;
  }
}

template <bool kExact>
void zubBinDeserializer::readTagged(xany& value) {
  unsigned char tag = 0;
  readPrimitive(tag);
  readContent<kExact>(tag, value);
}

template <bool kExact>
void zubBinDeserializer::readContent(unsigned char tag, xany& value) {
  switch (tag) {
    case xany_uninit:
      value = xany::Uninit();
      return;
    case xany_nil:
      value = xany::Nil();
      return;
    case xany_int: {
      int v = 0;
      kExact ? zubBinDeserializer::readInt(v) : readInt(v);
      value = static_cast<xint>(v);
      return;
    }
    case xany_long: {
      int64_t v = 0;
      kExact ? zubBinDeserializer::readLong(v) : readLong(v);
      value = static_cast<xlong>(v);
      return;
    }
    case xany_byte: {
      signed char v = 0;
      kExact ? zubBinDeserializer::readByte(v) : readByte(v);
      value = static_cast<xbyte>(v);
      return;
    }
    case xany_short: {
      short v = 0;
      kExact ? zubBinDeserializer::readShort(v) : readShort(v);
      value = static_cast<xshort>(v);
      return;
    }
    case xany_bool: {
      unsigned char v = 0;
      kExact ? zubBinDeserializer::readBool(v) : readBool(v);
      value = static_cast<xbool>(v);
      return;
    }
    case xany_real: {
      double v = 0;
      kExact ? zubBinDeserializer::readReal(v) : readReal(v);
      value = static_cast<xreal>(v);
      return;
    }
    case xany_string: {
      xstring v;
      kExact ? readText(v) : readString(v);
      value = std::move(v);
      return;
    }
    case xany_object: {
      xobject* v = nullptr;
      kExact ? zubBinDeserializer::readObject(v) : readObject(v);
      value = v;
      return;
    }
    default:
      xthrowException("invalid object kind");
  }
}

template void zubBinDeserializer::readTagged<true>(xany& value);

bool zubBinDeserializer::readObjectValue(xobject*& object) {
  object = nullptr;
  unsigned char tag = 0;
  readPrimitive(tag);
  if (tag == xany_nil) return true;
  if (tag == xany_object) {
    zubBinDeserializer::readObject(object);
    return true;
  }
  xany other;
  readContent<true>(tag, other);
  return false;
}

void zubBinDeserializer::readAny(xany& value) {
  charge(sizeof(xany));
  readTagged<false>(value);
}
