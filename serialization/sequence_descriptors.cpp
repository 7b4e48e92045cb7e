#include "serialization/sequence_descriptors.h"

#include <algorithm>
#include <utility>

#include "platform/exceptions.h"
#include "platform/sequences.h"

namespace {

int32_t ReadCount(zubDeserializer& in) {
  int count = 0;
  in.readInt(count);
  zubBinCheckSequenceCount(count);
  return count;
}

// The descriptor of a sequence type `Seq` whose elements are written with `Write` and
// read with `Read`.
template <class Seq, void (*Write)(zubSerializer&, const Seq&),
          void (*Read)(zubDeserializer&, Seq&)>
class SequenceDescriptor final : public zubBinS11nRtti {
 public:
  void* create() override { return Seq::create(); }
  xobject* cast(void* instance) override { return static_cast<Seq*>(instance); }
  void serialize(zubSerializer* out, xrcunihandle<xobject> object) override {
    Write(*out, *static_cast<const Seq*>(object.get()));
  }
  void deserialize(zubDeserializer* in, void* instance) override {
    Read(*in, *static_cast<Seq*>(instance));
  }
};

void WriteStrings(zubSerializer& out, const xstringsequence& seq) {
  const int32_t n = seq.getCount();
  out.writeInt(n);
  for (int32_t i = 0; i < n; ++i) out.writeString(seq.itemAt(i));
}

void ReadStrings(zubDeserializer& in, xstringsequence& seq) {
  const int32_t n = ReadCount(in);
  seq.reserve(std::min(n, kZubSequenceReserveMax));
  for (int32_t i = 0; i < n; ++i) {
    xstring s;
    in.readString(s);
    seq.append(std::move(s));
  }
}

void WriteValues(zubSerializer& out, const xanysequence& seq) {
  const int32_t n = seq.getCount();
  out.writeInt(n);
  for (int32_t i = 0; i < n; ++i) out.writeAny(seq.itemAt(i));
}

void ReadValues(zubDeserializer& in, xanysequence& seq) {
  const int32_t n = ReadCount(in);
  seq.reserve(std::min(n, kZubSequenceReserveMax));
  for (int32_t i = 0; i < n; ++i) {
    xany v;
    in.readAny(v);
    seq.append(std::move(v));
  }
}

}  // namespace

zubBinS11nRtti* zubBinStringSequenceDescriptor() {
  static auto* const descriptor =
      new SequenceDescriptor<xstringsequence, &WriteStrings, &ReadStrings>();
  return descriptor;
}

zubBinS11nRtti* zubBinAnySequenceDescriptor() {
  static auto* const descriptor = new SequenceDescriptor<xanysequence, &WriteValues, &ReadValues>();
  return descriptor;
}

void zubBinCheckSequenceCount(int32_t count) {
  if (count < 0) xthrowException("invalid sequence count");
}
