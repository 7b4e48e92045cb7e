#include "support/sequence_types.h"

#include <algorithm>
#include <utility>

#include "platform/sequences.h"
#include "serialization/sequence_rtti.h"
#include "support/type_support.h"

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
class SequenceDescriptor final : public zubBinS11nSequenceRtti {
 public:
  explicit SequenceDescriptor(ElementKind kind) : zubBinS11nSequenceRtti(kind) {}
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

void zubSupportRegisterSequenceTypes() {
  static const bool registered = [] {
    zubSupportRegisterDescriptor(
        xstringsequence::getClassRtti(),
        new SequenceDescriptor<xstringsequence, &WriteStrings, &ReadStrings>(
            zubBinS11nSequenceRtti::kStringElements));
    zubSupportRegisterDescriptor(xanysequence::getClassRtti(),
                                 new SequenceDescriptor<xanysequence, &WriteValues, &ReadValues>(
                                     zubBinS11nSequenceRtti::kValueElements));
    return true;
  }();
  (void)registered;
}
