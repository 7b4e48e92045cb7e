// Feeds arbitrary bytes to the call reader. A failed read must leave the call as it
// was; a call read must encode to bytes that read back to the same encoding.
#include <cstdlib>

#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  zubJEXSerializer* jex = zubJEXSerializer::getInstance();
  zubJexCall call;
  call.setName("untouched");
  call.setReturnType(zubGetRtti_int());
  call.addParam("p", xint{1});
  call.setIsAsync(true);
  xanysequence* values = call.peekParamValues();
  bool read = false;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    jex->readCall(&in, call, &map, zubfuzz::kServerUrl);
    read = true;
  });
  if (!read) {
    if (!(call.getName() == "untouched") || call.getReturnType() != zubGetRtti_int() ||
        call.peekParamValues() != values || !call.getIsAsync()) {
      std::abort();  // a failed read changed the call
    }
    return 0;
  }
  zubJexCall again;
  zubfuzz::CheckRewriteIsStable(
      [&](bool second) {
        btkMemOStream out;
        jex->writeCall(&out, second ? again : call, &map);
        return out.str();
      },
      [&](const std::string& bytes) {
        btkMemIStream in(bytes);
        jex->readCall(&in, again, &map, zubfuzz::kServerUrl);
      });
  return 0;
}
