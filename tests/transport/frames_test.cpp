// Addresses, and frames on a connection: the bytes of a frame, whole frames read back
// however they arrive, and the refusal of frames that are too large, cut short or late.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "tcp_test_support.h"
#include "transport/address.h"
#include "transport/frame_ostream.h"

using namespace jex_test;

namespace {

// Two connected sockets: `reader` for the code under test, `peer` for the test.
struct SocketPair {
  SocketPair() {
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    reader = zubTcpSocket(fds[0], "peer");
    peer = zubTcpSocket(fds[1], "test");
  }
  zubTcpSocket reader;
  zubTcpSocket peer;
};

std::string messageOf(const zubJexFrameReader& reader) {
  return std::string(reinterpret_cast<const char*>(reader.message()), reader.messageSize());
}

TEST(TcpAddress, ParsesHostAndPort) {
  std::vector<std::vector<std::string>> good = {{"127.0.0.1:7070", "127.0.0.1", "7070"},
                                                {"localhost:0", "localhost", "0"},
                                                {"[::1]:65535", "::1", "65535"},
                                                {"calc.example:80", "calc.example", "80"}};
  for (const std::vector<std::string>& c : good) {
    zubTcpAddress address;
    ASSERT_TRUE(zubTcpParseAddress(c[0], address)) << c[0];
    EXPECT_EQ(address.host + " " + address.port, c[1] + " " + c[2]);
  }
  for (const char* bad :
       {"127.0.0.1", "127.0.0.1:", ":80", "host:65536", "host:8o", "::1:80", "[::1]80", "[::1"}) {
    zubTcpAddress address;
    EXPECT_FALSE(zubTcpParseAddress(bad, address)) << bad;
  }
  EXPECT_EQ(zubTcpFormatAddress("::1", 80), "[::1]:80");
  EXPECT_EQ(zubTcpFormatAddress("127.0.0.1", 80), "127.0.0.1:80");
}

TEST(FrameOStream, FramesTheMessageWithItsLengthAndRefusesOneAboveTheLimit) {
  zubJexFrameOStream out(1024);
  for (int round = 0; round < 2; ++round) {  // the second message reuses the buffer
    out.begin();
    out.Write("\x01\x02", 2);
    std::string big(300, 'x');  // grows the buffer
    out.Write(big.data(), big.size());
    std::string bytes(reinterpret_cast<const char*>(out.frame()), out.frameSize());
    EXPECT_EQ(bytes, std::string("\x2e\x01\x00\x00\x01\x02", 6) + big);
  }
  zubJexFrameOStream small(4);
  small.begin();
  small.Write("abcd", 4);
  EXPECT_EQ(raisedText([&] { small.Write("e", 1); }), "message exceeds the frame limit of 4 bytes");
  small.begin();
  small.Write("wxyz", 4);
  EXPECT_EQ(small.messageSize(), 4u);
}

TEST(FrameReader, ReadsPipelinedAndLargeFramesWhole) {
  SocketPair pair;
  std::string big(3 * 1024 * 1024, '\0');  // larger than the socket buffers
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  std::vector<std::string> sent = {"one", "", big, "three", "fo"};
  std::thread writer([&] {
    std::string bytes;
    for (const std::string& m : sent) bytes += framed(m);
    sendBytes(pair.peer, bytes);
  });
  zubJexFrameReader reader(4 * 1024 * 1024);
  std::vector<std::string> read;
  while (read.size() < sent.size() && readFrame(pair.reader, reader)) {
    read.push_back(messageOf(reader));
  }
  writer.join();
  EXPECT_TRUE(read == sent);
  EXPECT_FALSE(reader.hasPendingBytes());
}

TEST(FrameReader, ReportsWhatEndsTheWaitBeforeAFrameBegins) {
  zubJexFrameReader reader(100);
  SocketPair closed, silent, woken;
  closed.peer.close();
  EXPECT_EQ(reader.read(closed.reader, zubTcpDeadline::after(5000), 5000),
            zubJexFrameReader::kClosed);
  EXPECT_EQ(reader.read(silent.reader, zubTcpDeadline::after(20), 5000),
            zubJexFrameReader::kTimedOut);
  int wake[2];
  ASSERT_EQ(::pipe(wake), 0);
  ASSERT_EQ(::write(wake[1], "x", 1), 1);
  EXPECT_EQ(reader.read(woken.reader, zubTcpDeadline::after(5000), 5000, wake[0]),
            zubJexFrameReader::kWoken);
  ::close(wake[0]);
  ::close(wake[1]);
}

TEST(FrameReader, RefusesFramesThatAreTooLargeCutShortOrLate) {
  const char* cutShort = "connection closed by peer in the middle of a message";
  struct Case {
    std::string bytes;
    bool closeAfter;
    const char* error;
  } cases[] = {
      {std::string("\x65\x00\x00\x00", 4), false,  // length above the limit
       "frame of 101 bytes from peer exceeds the limit of 100 bytes"},
      {"\xff\xff\xff\xff", false,  // largest length
       "frame of 4294967295 bytes from peer exceeds the limit of 100 bytes"},
      {std::string("\x05\x00", 2), true, cutShort},                  // header cut short
      {std::string("\x05\x00\x00\x00\x61\x62", 6), true, cutShort},  // message cut short
      {std::string("\x05\x00\x00\x00\x61\x62", 6), false, "timed out waiting for peer"},  // late
  };
  for (const Case& c : cases) {
    SocketPair pair;
    sendBytes(pair.peer, c.bytes);
    if (c.closeAfter) pair.peer.close();
    zubJexFrameReader reader(100);
    EXPECT_EQ(raisedText([&] { reader.read(pair.reader, zubTcpDeadline::after(5000), 30); }),
              c.error);
  }
}

TEST(MessageIStream, RefusesToReadBeyondTheMessage) {
  const uint8_t bytes[] = {1, 2, 3};
  zubJexMessageIStream in;
  in.reset(bytes, sizeof(bytes));
  uint8_t two[2];
  in.Read(two, 2);
  uint8_t more[2] = {9, 9};
  EXPECT_EQ(raisedText([&] { in.Read(more, 2); }), "unexpected end of message");
  EXPECT_EQ(in.remaining(), 1u);
  EXPECT_EQ(more[0], 9);
}

}  // namespace
