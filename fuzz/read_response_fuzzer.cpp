// Feeds arbitrary bytes to the response reader.
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  zubJexResponse response;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    zubJEXSerializer::getInstance()->readResponse(&in, response, &map, zubfuzz::kServerUrl);
  });
  return 0;
}
