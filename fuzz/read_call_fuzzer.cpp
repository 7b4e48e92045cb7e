// Feeds arbitrary bytes to the call reader.
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  zubJexCall call;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    zubJEXSerializer::getInstance()->readCall(&in, call, &map, zubfuzz::kServerUrl);
  });
  return 0;
}
