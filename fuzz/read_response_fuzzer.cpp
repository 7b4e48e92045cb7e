// Feeds arbitrary bytes to the response reader. A failed read must leave the response
// as it was; a response read must encode to bytes that read back to the same encoding.
#include <cstdlib>

#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  zubJEXSerializer* jex = zubJEXSerializer::getInstance();
  zubJexResponse response;
  response.setName("untouched");
  response.setKind(zubJexResponseValue);
  response.setObject(xint{9});
  bool read = false;
  zubfuzz::IgnoreRaised([&] {
    btkMemIStream in(data, size);
    jex->readResponse(&in, response, &map, zubfuzz::kServerUrl);
    read = true;
  });
  if (!read) {
    if (!(response.getName() == "untouched") || response.getKind() != zubJexResponseValue ||
        response.getObject().toInt() != 9) {
      std::abort();  // a failed read changed the response
    }
    return 0;
  }
  zubJexResponse again;
  zubfuzz::CheckRewriteIsStable(
      [&](bool second) {
        btkMemOStream out;
        jex->writeResponse(&out, second ? again : response, &map);
        return out.str();
      },
      [&](const std::string& bytes) {
        btkMemIStream in(bytes);
        jex->readResponse(&in, again, &map, zubfuzz::kServerUrl);
      });
  return 0;
}
