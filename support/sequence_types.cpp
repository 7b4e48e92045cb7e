#include "support/sequence_types.h"

#include <algorithm>
#include <utility>

#include "platform/sequences.h"
#include "serialization/sequence_rtti.h"
#include "support/type_support.h"

namespace {

// The descriptor of a sequence type `Seq`: the count, then each element, written with
// `WriteOne` and read with `ReadOne`.
template <class Seq, class Element, void (zubSerializer::*WriteOne)(Element),
          void (zubDeserializer::*ReadOne)(Element&)>
class SequenceDescriptor final : public zubBinS11nSequenceRtti {
 public:
  explicit SequenceDescriptor(ElementKind kind) : zubBinS11nSequenceRtti(kind) {}
  void* create() override { return Seq::create(); }
  xobject* cast(void* instance) override { return static_cast<Seq*>(instance); }

  void serialize(zubSerializer* out, xrcunihandle<xobject> object) override {
    const Seq& seq = *static_cast<const Seq*>(object.get());
    const int32_t n = seq.getCount();
    out->writeInt(n);
    for (int32_t i = 0; i < n; ++i) (out->*WriteOne)(seq.itemAt(i));
  }

  void deserialize(zubDeserializer* in, void* instance) override {
    Seq& seq = *static_cast<Seq*>(instance);
    int count = 0;
    in->readInt(count);
    zubBinCheckSequenceCount(count);
    seq.reserve(std::min(count, kZubSequenceReserveMax));
    for (int32_t i = 0; i < count; ++i) {
      Element element;
      (in->*ReadOne)(element);
      seq.append(std::move(element));
    }
  }
};

using StringSequenceDescriptor =
    SequenceDescriptor<xstringsequence, xstring, &zubSerializer::writeString,
                       &zubDeserializer::readString>;
using AnySequenceDescriptor =
    SequenceDescriptor<xanysequence, xany, &zubSerializer::writeAny, &zubDeserializer::readAny>;

}  // namespace

void zubSupportRegisterSequenceTypes() {
  static const bool registered = [] {
    zubSupportRegisterDescriptor(
        xstringsequence::getClassRtti(),
        new StringSequenceDescriptor(zubBinS11nSequenceRtti::kStringElements));
    zubSupportRegisterDescriptor(xanysequence::getClassRtti(),
                                 new AnySequenceDescriptor(zubBinS11nSequenceRtti::kValueElements));
    return true;
  }();
  (void)registered;
}
