#include "support/sequence_types.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "serialization/bin_serializer.h"
#include "support/type_support.h"

namespace {

// Room for at most this many elements is made before they arrive: enough for the
// usual parameter lists, and a count that lies costs no more than that.
constexpr int32_t kReserveMax = 16;

int32_t ReadCount(zubDeserializer& in) {
  int count = 0;
  in.readInt(count);
  if (count < 0) xthrowException("invalid sequence count");
  return count;
}

// The serializer as a zubBinSerializer when it is exactly one, whose non-virtual
// writers then borrow the elements; a derived class may override any writer, so it
// is called through them. Else null.
zubBinSerializer* ExactBinSerializer(zubSerializer& out) {
  return typeid(out) == typeid(zubBinSerializer) ? static_cast<zubBinSerializer*>(&out) : nullptr;
}

void WriteStrings(zubSerializer& out, const xstringsequence& seq) {
  const int32_t n = seq.getCount();
  out.writeInt(n);
  if (zubBinSerializer* bin = ExactBinSerializer(out)) {
    for (int32_t i = 0; i < n; ++i) bin->writeText(seq.itemAt(i));
    return;
  }
  for (int32_t i = 0; i < n; ++i) out.writeString(seq.itemAt(i));
}

// The deserializer as a zubBinDeserializer when it is exactly one, else null (as
// ExactBinSerializer).
zubBinDeserializer* ExactBinDeserializer(zubDeserializer& in) {
  return typeid(in) == typeid(zubBinDeserializer) ? static_cast<zubBinDeserializer*>(&in) : nullptr;
}

void ReadStrings(zubDeserializer& in, xstringsequence& seq) {
  const int32_t n = ReadCount(in);
  seq.reserve(std::min(n, kReserveMax));
  if (zubBinDeserializer* bin = ExactBinDeserializer(in)) {
    for (int32_t i = 0; i < n; ++i) {
      xstring s;
      bin->readText(s);
      seq.append(std::move(s));
    }
    return;
  }
  for (int32_t i = 0; i < n; ++i) {
    xstring s;
    in.readString(s);
    seq.append(std::move(s));
  }
}

void WriteValues(zubSerializer& out, const xanysequence& seq) {
  const int32_t n = seq.getCount();
  out.writeInt(n);
  if (zubBinSerializer* bin = ExactBinSerializer(out)) {
    for (int32_t i = 0; i < n; ++i) bin->writeValue(seq.itemAt(i));
    return;
  }
  for (int32_t i = 0; i < n; ++i) out.writeAny(seq.itemAt(i));
}

void ReadValues(zubDeserializer& in, xanysequence& seq) {
  const int32_t n = ReadCount(in);
  seq.reserve(std::min(n, kReserveMax));
  if (zubBinDeserializer* bin = ExactBinDeserializer(in)) {
    for (int32_t i = 0; i < n; ++i) {
      xany v;
      bin->readValue(v);
      seq.append(std::move(v));
    }
    return;
  }
  for (int32_t i = 0; i < n; ++i) {
    xany v;
    in.readAny(v);
    seq.append(std::move(v));
  }
}

}  // namespace

void zubSupportRegisterSequenceTypes() {
  static const bool registered = [] {
    zubSupportRegisterType<xstringsequence, &WriteStrings, &ReadStrings>();
    zubSupportRegisterType<xanysequence, &WriteValues, &ReadValues>();
    return true;
  }();
  (void)registered;
}
