// Frames on a connection: the bytes of a frame, whole frames read back however they
// arrive, and the refusal of frames that are too large, cut short or late.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>
#include <vector>

#include "tcp_test_support.h"
#include "transport/address.h"
#include "transport/frame_ostream.h"

using namespace tcp_test;

namespace {

// Two connected sockets: `reader` for the code under test, `peer` for the test.
struct SocketPair {
  SocketPair() {
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    reader = zubTcpSocket(fds[0], "peer");
    peer = zubTcpSocket(fds[1], "test");
  }
  void send(const std::string& bytes) {
    peer.sendAll(bytes.data(), bytes.size(), zubTcpDeadline::after(5000));
  }
  zubTcpSocket reader;
  zubTcpSocket peer;
};

std::string frame(const std::string& message) {
  uint8_t header[4];
  zubJexEncodeFrameLength(static_cast<uint32_t>(message.size()), header);
  return std::string(reinterpret_cast<char*>(header), 4) + message;
}

std::string messageOf(const zubJexFrameReader& reader) {
  return std::string(reinterpret_cast<const char*>(reader.message()), reader.messageSize());
}

std::string raisedText(const std::function<void()>& action) {
  return descriptionOf(raisedBy(action));
}

TEST(TcpAddress, ParsesHostAndPort) {
  struct Case {
    const char* text;
    bool ok;
    const char* host;
    const char* port;
  } cases[] = {
      {"127.0.0.1:7070", true, "127.0.0.1", "7070"},
      {"localhost:0", true, "localhost", "0"},
      {"[::1]:65535", true, "::1", "65535"},
      {"calc.example:80", true, "calc.example", "80"},
      {"127.0.0.1", false, "", ""},
      {"127.0.0.1:", false, "", ""},
      {":80", false, "", ""},
      {"host:65536", false, "", ""},
      {"host:8o", false, "", ""},
      {"::1:80", false, "", ""},
      {"[::1]80", false, "", ""},
      {"[::1", false, "", ""},
  };
  for (const Case& c : cases) {
    zubTcpAddress address;
    EXPECT_EQ(zubTcpParseAddress(c.text, address), c.ok) << c.text;
    if (!c.ok) continue;
    EXPECT_EQ(address.host, c.host) << c.text;
    EXPECT_EQ(address.port, c.port) << c.text;
  }
  EXPECT_EQ(zubTcpFormatAddress("::1", 80), "[::1]:80");
  EXPECT_EQ(zubTcpFormatAddress("127.0.0.1", 80), "127.0.0.1:80");
}

TEST(FrameOStream, FramesTheMessageWithItsLittleEndianLength) {
  zubJexFrameOStream out(1024);
  for (int round = 0; round < 2; ++round) {  // the second message reuses the buffer
    out.begin();
    out.Write("\x01\x02", 2);
    std::string big(300, 'x');  // grows the buffer
    out.Write(big.data(), big.size());
    std::string bytes(reinterpret_cast<const char*>(out.frame()), out.frameSize());
    EXPECT_EQ(bytes.substr(0, 6), std::string("\x2e\x01\x00\x00\x01\x02", 6));
    EXPECT_EQ(bytes.size(), 4u + 302u);
  }
}

TEST(FrameOStream, RefusesAMessageAboveTheLimit) {
  zubJexFrameOStream out(4);
  out.begin();
  out.Write("abcd", 4);
  EXPECT_EQ(raisedText([&] { out.Write("e", 1); }), "message exceeds the frame limit of 4 bytes");
  out.begin();
  out.Write("wxyz", 4);
  EXPECT_EQ(out.messageSize(), 4u);
}

TEST(FrameReader, ReadsPipelinedFramesAndKeepsTheBytesBehindThem) {
  SocketPair pair;
  pair.send(frame("one") + frame("") + frame("three") + frame("fo"));
  zubJexFrameReader reader(100);
  std::vector<std::string> read;
  for (int i = 0; i < 4; ++i) {
    ASSERT_EQ(reader.read(pair.reader, zubTcpDeadline::after(5000), 5000),
              zubJexFrameReader::kFrame);
    read.push_back(messageOf(reader));
  }
  EXPECT_EQ(read, (std::vector<std::string>{"one", "", "three", "fo"}));
  EXPECT_FALSE(reader.hasPendingBytes());
}

TEST(FrameReader, ReadsAFrameLargerThanTheSocketBuffersAndTheFrameBehindIt) {
  SocketPair pair;
  std::string big(3 * 1024 * 1024, '\0');
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  std::thread writer([&] { pair.send(frame(big) + frame("tail")); });
  zubJexFrameReader reader(4 * 1024 * 1024);
  ASSERT_EQ(reader.read(pair.reader, zubTcpDeadline::after(5000), 5000), zubJexFrameReader::kFrame);
  EXPECT_TRUE(messageOf(reader) == big);
  ASSERT_EQ(reader.read(pair.reader, zubTcpDeadline::after(5000), 5000), zubJexFrameReader::kFrame);
  EXPECT_EQ(messageOf(reader), "tail");
  writer.join();
}

TEST(FrameReader, ReportsWhatEndsTheWaitBeforeAFrameBegins) {
  zubJexFrameReader reader(100);
  {
    SocketPair pair;
    pair.peer.close();
    EXPECT_EQ(reader.read(pair.reader, zubTcpDeadline::after(5000), 5000),
              zubJexFrameReader::kClosed);
  }
  {
    SocketPair pair;
    EXPECT_EQ(reader.read(pair.reader, zubTcpDeadline::after(20), 5000),
              zubJexFrameReader::kTimedOut);
  }
  {
    SocketPair pair;
    int wake[2];
    ASSERT_EQ(::pipe(wake), 0);
    ASSERT_EQ(::write(wake[1], "x", 1), 1);
    EXPECT_EQ(reader.read(pair.reader, zubTcpDeadline::after(5000), 5000, wake[0]),
              zubJexFrameReader::kWoken);
    ::close(wake[0]);
    ::close(wake[1]);
  }
}

TEST(FrameReader, RefusesFramesThatAreTooLargeCutShortOrLate) {
  struct Case {
    const char* name;
    std::string bytes;
    bool closeAfter;
    const char* error;
  } cases[] = {
      {"length above the limit", std::string("\x65\x00\x00\x00", 4), false,
       "frame of 101 bytes from peer exceeds the limit of 100 bytes"},
      {"largest length", std::string("\xff\xff\xff\xff", 4), false,
       "frame of 4294967295 bytes from peer exceeds the limit of 100 bytes"},
      {"header cut short", std::string("\x05\x00", 2), true,
       "connection closed by peer in the middle of a message"},
      {"message cut short", std::string("\x05\x00\x00\x00\x61\x62", 6), true,
       "connection closed by peer in the middle of a message"},
      {"message late", std::string("\x05\x00\x00\x00\x61\x62", 6), false,
       "timed out waiting for peer"},
  };
  for (const Case& c : cases) {
    SocketPair pair;
    pair.send(c.bytes);
    if (c.closeAfter) pair.peer.close();
    zubJexFrameReader reader(100);
    EXPECT_EQ(raisedText([&] { reader.read(pair.reader, zubTcpDeadline::after(5000), 30); }),
              c.error)
        << c.name;
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
