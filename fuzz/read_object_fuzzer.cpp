// Feeds arbitrary bytes to the standalone object reader; a value read must encode to
// bytes that read back to the same encoding.
#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::Setup();
  zubJEXSerializer* jex = zubJEXSerializer::getInstance();
  xany value;
  bool read = false;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    jex->readObject(&in, value);
    read = true;
  });
  if (!read) return 0;
  xany again;
  zubfuzz::CheckRewriteIsStable(
      [&](bool second) {
        btkMemOStream out;
        jex->writeObject(&out, second ? again : value);
        return out.str();
      },
      [&](const std::string& bytes) {
        btkMemIStream in(bytes);
        jex->readObject(&in, again);
      });
  return 0;
}
