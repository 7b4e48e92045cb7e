// Feeds arbitrary bytes, as one peer's whole output, to the TCP frame reader over a
// socket pair, and every frame it returns to the call reader through a message stream.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "fuzz_support.h"
#include "messages/jex_serializer.h"
#include "transport/frame_reader.h"
#include "transport/socket.h"

namespace {
// Small enough that the length check refuses some frames the fuzzer writes, large
// enough for a call with a 100 KiB string.
constexpr uint32_t kMaxMessageSize = 512 * 1024;

// Sends the bytes and closes the sending side. Inputs can be larger than a socket's
// buffer, so this runs beside the reader; it stops early when the reader has closed
// its end.
void SendAll(int fd, const uint8_t* data, size_t size) {
  while (size > 0) {
    ssize_t sent = ::send(fd, data, size, MSG_NOSIGNAL);
    if (sent <= 0) break;
    data += sent;
    size -= static_cast<size_t>(sent);
  }
  ::close(fd);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  zubfuzz::OneHostObjectMap& map = zubfuzz::Setup();
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
  std::thread sender(SendAll, fds[1], data, size);
  {
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
  }  // closes the reading end, which stops a sender that is still sending
  sender.join();
  return 0;
}
