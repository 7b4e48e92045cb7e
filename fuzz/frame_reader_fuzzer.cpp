// Feeds arbitrary bytes, as one peer's whole output, to the TCP frame reader over a
// socket pair, and every frame it returns to the call reader through a message stream.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "transport/frame_reader.h"
#include "transport/socket.h"

namespace {
// Small enough that the length check refuses some frames the fuzzer writes.
constexpr uint32_t kMaxMessageSize = 2048;
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
  // The socket buffer holds every input libFuzzer makes by default (-max_len 4096).
  if (::write(fds[1], data, size) != static_cast<ssize_t>(size)) std::abort();
  ::close(fds[1]);
  zubTcpSocket socket(fds[0], "fuzz peer");
  zubJexFrameReader reader(kMaxMessageSize);
  zubJexMessageIStream message;
  zubfuzz::IgnoreRaised([&] {
    while (reader.read(socket, zubTcpDeadline::never(), 1000) == zubJexFrameReader::kFrame) {
      message.reset(reader.message(), reader.messageSize());
      zubJexCall call;
      zubfuzz::IgnoreRaised([&] {
        zubJEXSerializer::getInstance()->readCall(&message, call, &map, zubfuzz::kServerUrl);
      });
    }
  });
  return 0;
}
