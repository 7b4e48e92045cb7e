#include "serialization/bin_serializer.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "serialization/descriptors.h"
#include "serialization/type_lookup.h"

namespace {

// String bodies up to this size are read with one allocation and one Read. Larger ones
// are read in pieces of this size, so that a size prefix that lies costs no more memory
// than the bytes that actually arrived.
constexpr uint64_t kStringChunk = 64 * 1024;

// Width bytes of the string size prefix.
constexpr unsigned char kWidth1 = 0x01;
constexpr unsigned char kWidth2 = 0x02;
constexpr unsigned char kWidth4 = 0x04;

// Short strings (the names of messages, methods, parameters and types) recur in every
// message. Each thread keeps the last ones it read, one lock held on each buffer, and
// hands out shared copies of them instead of allocating; xstrings never change their
// text, so the sharing is invisible. The slots are plain data; the owner, made on the
// thread's first miss, drops the locks when the thread ends.
constexpr uint64_t kSharedStringMax = 24;
constexpr size_t kSharedStringSlots = 128;
thread_local btkStrBuf* sharedStrings[kSharedStringSlots];

struct SharedStringsOwner {
  ~SharedStringsOwner() {
    for (btkStrBuf*& buffer : sharedStrings) {
      if (buffer != nullptr) buffer->Unlock();
      buffer = nullptr;
    }
  }
};
thread_local SharedStringsOwner sharedStringsOwner;

xstring SharedString(const char* text, uint64_t size) {
  uint32_t hash = 2166136261u;  // FNV-1a
  for (uint64_t i = 0; i < size; ++i) {
    hash = (hash ^ static_cast<unsigned char>(text[i])) * 16777619u;
  }
  btkStrBuf*& slot = sharedStrings[hash % kSharedStringSlots];
  if (slot == nullptr || slot->MBSize() != size || std::memcmp(slot->MB(), text, size) != 0) {
    (void)&sharedStringsOwner;  // made with the first buffer the thread keeps
    btkStrBuf* fresh = btkStrBuf::CopyMB(text, static_cast<size_t>(size));
    if (slot != nullptr) slot->Unlock();
    slot = fresh;
  }
  return xstring(__xstring_c{slot, slot->MB(), nullptr}, true);
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

}  // namespace

// ---------------------------------------------------------------------------------------
// Writing

zubBinSerializer::zubBinSerializer(btkOStream* stream)
    : stream_(stream), listener_(nullptr), memory_(dynamic_cast<btkMemOStream*>(stream)) {
  CheckStreamMode(stream_);
}

void zubBinSerializer::writeBool(unsigned char value) { writePrimitive(value); }
void zubBinSerializer::writeByte(signed char value) { writePrimitive(value); }
void zubBinSerializer::writeShort(short value) { writePrimitive(value); }
void zubBinSerializer::writeInt(int value) { writePrimitive(value); }
void zubBinSerializer::writeLong(int64_t value) { writePrimitive(value); }
void zubBinSerializer::writeReal(double value) { writePrimitive(value); }

uint64_t zubBinSerializer::writeStringSize(const xstring& s) {
  s.CastToCString();
  writeSizePrefix(s.GetMBSize());
  return s.GetMBSize();
}

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

void zubBinSerializer::writeString(const xstring& s, uint64_t size) {
  if (size > 0) write(s.CastToCString(), size);
}

void zubBinSerializer::writeString(xstring value) { writeString(value, writeStringSize(value)); }

void zubBinSerializer::writeObject(xobject* object) {
  writeBool(object == nullptr);
  if (object == nullptr) return;
  zubBinS11nRtti* descriptor = nullptr;
  if (const zubS11nTypeEntry* type = zubS11nFindType(object)) {
    descriptor = type->descriptor;
    writeSizePrefix(type->size);
    write(type->name, type->size);
  } else {
    const xstring typeName = object->getZubTypeName();
    descriptor = DescriptorOrThrow(typeName);
    writeString(typeName, writeStringSize(typeName));
  }
  descriptor->serialize(this, xrcunihandle<xobject>(object));
  if (listener_ != nullptr) listener_->onPostObjectWrite(object, this);
}

void zubBinSerializer::writeAny(xany value) {
  const __xanykind kind = value.getKind();
  writePrimitive(static_cast<unsigned char>(kind));
  switch (kind) {
    case xany_uninit:
    case xany_nil:
      return;
    case xany_int:
      return writeInt(value.toInt());
    case xany_long:
      return writeLong(value.toLong());
    case xany_byte:
      return writeByte(value.toByte());
    case xany_short:
      return writeShort(value.toShort());
    case xany_bool:
      return writeBool(value.toBool());
    case xany_real:
      return writeReal(value.toReal());
    case xany_string:
      return writeString(value.toString());
    case xany_object:
      return writeObject(value.toObject());
    default:
      xthrowException("invalid object kind");
  }
}

// ---------------------------------------------------------------------------------------
// Reading

zubBinDeserializer::zubBinDeserializer(btkIStream* stream)
    : stream_(stream), listener_(nullptr), memory_(dynamic_cast<btkMemIStream*>(stream)) {
  CheckStreamMode(stream_);
}

void zubBinDeserializer::readBool(unsigned char& value) { readPrimitive(value); }
void zubBinDeserializer::readByte(signed char& value) { readPrimitive(value); }
void zubBinDeserializer::readShort(short& value) { readPrimitive(value); }
void zubBinDeserializer::readInt(int& value) { readPrimitive(value); }
void zubBinDeserializer::readLong(int64_t& value) { readPrimitive(value); }
void zubBinDeserializer::readReal(double& value) { readPrimitive(value); }

uint64_t zubBinDeserializer::readStringSize() {
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
    char text[kSharedStringMax];
    read(text, size);
    s = SharedString(text, size);
    return;
  }
  if (size <= kStringChunk) {
    char* text = nullptr;
    btkStrBuf* buffer = btkStrBuf::AllocMB(static_cast<int32_t>(size), &text);
    xstring body;
    body.Assign(__xstring_c{buffer, text, nullptr}, false);  // owned before Read can raise
    read(text, size);
    s = std::move(body);
    return;
  }
  std::string body;
  while (body.size() < size) {
    const size_t have = body.size();
    const size_t piece = static_cast<size_t>(std::min<uint64_t>(size - have, kStringChunk));
    body.resize(have + piece);
    read(&body[have], piece);
  }
  s = xstring(body.data(), body.size());
}

void zubBinDeserializer::readString(xstring& value) { readString(value, readStringSize()); }

xobject* zubBinDeserializer::createObject(xstring& typeName) {
  zubBinS11nRtti* descriptor = DescriptorOrThrow(typeName);
  void* instance = descriptor->create();
  try {
    descriptor->deserialize(this, instance);
  } catch (...) {
    xrcdisposeUnreferenced(descriptor->cast(instance));
    throw;
  }
  return descriptor->cast(instance);
}

void zubBinDeserializer::readObject(xobject*& object) {
  unsigned char isNull = 0;
  readBool(isNull);
  if (isNull != 0) {
    object = nullptr;
    return;
  }
  xstring typeName;
  readString(typeName, readStringSize());

  struct DepthGuard {
    int& depth;
    explicit DepthGuard(int& d) : depth(d) { ++depth; }
    ~DepthGuard() { --depth; }
  } guard(depth_);
  if (depth_ > kMaxObjectDepth) xthrowException("object nesting too deep");

  object = createObject(typeName);
  if (listener_ == nullptr) return;
  try {
    listener_->onPostObjectRead(object, this);
  } catch (...) {
    // A listener that replaced the object took over the one it replaced.
    xrcdisposeUnreferenced(object);
    object = nullptr;
    throw;
  }
}

void zubBinDeserializer::readAny(xany& value) {
  unsigned char tag = 0;
  readPrimitive(tag);
  switch (tag) {
    case xany_uninit:
      value = xany::Uninit();
      return;
    case xany_nil:
      value = xany::Nil();
      return;
    case xany_int: {
      int v = 0;
      readInt(v);
      value = static_cast<xint>(v);
      return;
    }
    case xany_long: {
      int64_t v = 0;
      readLong(v);
      value = static_cast<xlong>(v);
      return;
    }
    case xany_byte: {
      signed char v = 0;
      readByte(v);
      value = static_cast<xbyte>(v);
      return;
    }
    case xany_short: {
      short v = 0;
      readShort(v);
      value = static_cast<xshort>(v);
      return;
    }
    case xany_bool: {
      unsigned char v = 0;
      readBool(v);
      value = static_cast<xbool>(v);
      return;
    }
    case xany_real: {
      double v = 0;
      readReal(v);
      value = static_cast<xreal>(v);
      return;
    }
    case xany_string: {
      xstring v;
      readString(v);
      value = std::move(v);
      return;
    }
    case xany_object: {
      xobject* v = nullptr;
      readObject(v);
      value = v;
      return;
    }
    default:
      xthrowException("invalid object kind");
  }
}
