// Feeds arbitrary bytes to the standalone object reader.
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::Setup();
  xany value;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    zubJEXSerializer::getInstance()->readObject(&in, value);
  });
  return 0;
}
