// Addresses, and frames on a connection: the bytes of a frame, whole frames read back
// however they arrive, and the refusal of frames that are too large, cut short or late.
// (Reading beyond a message is seen in the TCP server's answer to a cut message.)
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

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

// What a reader with a limit of 100 bytes makes of `bytes` from a peer that closes the
// connection after them when `close`, with 30 ms for each wait, after the reader's
// receiving side was shut down when `shut`: the message of a frame, "<closed>",
// "<timed out>", or the text of the error raised.
std::string readOne(const std::string& bytes, bool close, bool shut = false) {
  SocketPair pair;
  sendBytes(pair.peer, bytes);
  if (close) pair.peer.close();
  if (shut) pair.reader.shutdownReceiving();
  zubJexFrameReader reader(100);
  zubJexFrameReader::Result result = zubJexFrameReader::kFrame;
  xrcunihandle<xthrowable> error =
      raisedBy([&] { result = reader.read(pair.reader, zubTcpDeadline::after(30), 30); });
  const char* ends[] = {"", "<closed>", "<timed out>"};
  if (error) return descriptionOf(error.get());
  return result == zubJexFrameReader::kFrame ? messageOf(reader) : ends[result];
}

TEST(TcpAddress, ParsesHostAndPort) {
  for (const char* good : {"127.0.0.1:7070", "localhost:0", "[::1]:65535", "calc.example:80"}) {
    zubTcpAddress address;
    ASSERT_TRUE(zubTcpParseAddress(good, address)) << good;
    EXPECT_EQ(zubTcpFormatAddress(address.host, std::stoi(address.port)), good);
  }
  for (const char* bad :
       {"127.0.0.1", "127.0.0.1:", ":80", "host:65536", "host:8o", "::1:80", "[::1]80", "[::1"}) {
    zubTcpAddress address;
    EXPECT_FALSE(zubTcpParseAddress(bad, address)) << bad;
  }
}

TEST(FrameOStream, FramesTheMessageWithItsLengthAndRefusesOneAboveTheLimit) {
  zubJexFrameOStream out(300);
  out.begin();
  out.Write("\x01\x02", 2);
  std::string big(298, 'x');  // grows the buffer
  out.Write(big.data(), big.size());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(out.frame()), out.frameSize()),
            std::string("\x2c\x01\x00\x00\x01\x02", 6) + big);
  EXPECT_EQ(raisedText([&] { out.Write("e", 1); }), "message exceeds the frame limit of 300 bytes");
}

// The frame streams are memory streams, so the encoder writes and reads them in place:
// the bytes are those of a plain memory stream, and a cut message still names its end.
TEST(FrameStreams, CarryTheSameBytesAsAMemoryStreamAndNameTheEndOfTheMessage) {
  calcRegisterTypes();  // the parameter lists are sequences
  xrchandle<xanysequence> list = values({xint(1), xany()});
  zubJexCall call;
  call.setName("ICalc:add");
  call.addParam("a", xint(-7));
  call.addParam("s", xstring("text"));
  call.addParam("v", xany(static_cast<xobject*>(list.get())));
  NoHostObjects map;
  btkMemOStream plain;
  zubJEXSerializer::getInstance()->writeCall(&plain, call, &map);
  zubJexFrameOStream out(1024);
  out.begin();
  zubJEXSerializer::getInstance()->writeCall(&out, call, &map);
  EXPECT_TRUE(std::string(reinterpret_cast<const char*>(out.frame()), out.frameSize()) ==
              framed(plain.str()));

  zubJexMessageIStream in;
  zubJexCall read;
  in.reset(plain.data(), plain.size());
  zubJEXSerializer::getInstance()->readCall(&in, read, &map, "peer");
  EXPECT_EQ(read.getParamByName("a").toInt(), -7);
  in.reset(plain.data(), plain.size() - 1);
  xrcunihandle<xthrowable> cut =
      raisedBy([&] { zubJEXSerializer::getInstance()->readCall(&in, read, &map, "peer"); });
  ASSERT_TRUE(cut);
  EXPECT_EQ(causesOf(cut.get()), "unexpected end of message");
}

TEST(FrameReader, ReadsPipelinedAndLargeFramesWhole) {
  SocketPair pair;
  std::string big(3 * 1024 * 1024, '\0');  // larger than the socket buffers
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<char>(i * 7);
  std::vector<std::string> sent = {"one", "", big, "three", "fo"}, read;
  std::thread writer([&] {
    sendBytes(pair.peer, framed("one") + framed("") + framed(big) + framed("three") + framed("fo"));
  });
  zubJexFrameReader reader(4 * 1024 * 1024);
  while (read.size() < sent.size() && readFrame(pair.reader, reader))
    read.push_back(messageOf(reader));
  writer.join();
  EXPECT_TRUE(read == sent);
  EXPECT_FALSE(reader.hasPendingBytes());
}

// A buffer grown for a large frame is given back when the next frame begins (keeping
// the bytes buffered behind the large frame) or when the exchange ends.
TEST(FrameReader, GivesBackABufferGrownForALargeFrame) {
  const std::string big(1 << 20, 'b');
  const std::string big2(300 * 1024, 'c');
  const std::vector<std::string> cases[] = {{big}, {big, "small"}, {big, big2, "x"}, {big, ""}};
  for (const std::vector<std::string>& frames : cases) {
    SCOPED_TRACE(frames.size());
    SocketPair pair;
    std::string bytes;
    for (const std::string& f : frames) bytes += framed(f);
    std::thread writer([&] { sendBytes(pair.peer, bytes); });
    zubJexFrameReader reader(4 * 1024 * 1024);
    for (const std::string& f : frames) {
      ASSERT_TRUE(readFrame(pair.reader, reader));
      EXPECT_TRUE(messageOf(reader) == f);
      EXPECT_EQ(reader.capacity() <= kZubJexKeptReceiveBuffer, f.size() < 1024) << f.size();
    }
    writer.join();
    reader.releaseFrame();
    EXPECT_LE(reader.capacity(), kZubJexKeptReceiveBuffer);
    EXPECT_FALSE(reader.hasPendingBytes());
  }
}

TEST(FrameReader, EndsTheWaitBeforeAFrameAndRefusesFramesTooLargeCutShortOrLate) {
  const char* cutShort = "connection closed by peer in the middle of a message";
  const std::string header5("\x05\x00\x00\x00", 4);
  EXPECT_EQ(readOne("", true), "<closed>");
  EXPECT_EQ(readOne("", false, true), "<closed>");  // the server's stop
  EXPECT_EQ(readOne(header5 + "abcde", false, true), "abcde");
  EXPECT_EQ(readOne("", false), "<timed out>");
  EXPECT_EQ(readOne(std::string("\x65\x00\x00\x00", 4), false),  // length above the limit
            "frame of 101 bytes from peer exceeds the limit of 100 bytes");
  EXPECT_EQ(readOne("\xff\xff\xff\xff", false),  // largest length
            "frame of 4294967295 bytes from peer exceeds the limit of 100 bytes");
  EXPECT_EQ(readOne(header5.substr(0, 2), true), cutShort);                 // header cut short
  EXPECT_EQ(readOne(header5 + "ab", true), cutShort);                       // message cut short
  EXPECT_EQ(readOne(header5 + "ab", false), "timed out waiting for peer");  // message late
  EXPECT_EQ(readOne(header5 + "abcde", false), "abcde");
}

// A receive may block in the kernel for the socket's receive timeout, but never past
// its own deadline, whichever of the two is longer.
TEST(TcpSocket, AReceiveEndsAtItsDeadlineWhateverTheReceiveTimeout) {
  for (int receiveTimeoutMs : {0, 20, 30, 60000}) {
    SocketPair pair;
    pair.reader.setReceiveTimeout(receiveTimeoutMs);
    char byte;
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(pair.reader.tryReceive(&byte, 1, zubTcpDeadline::after(30)), zubTcpSocket::kTimedOut)
        << receiveTimeoutMs;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10))
        << receiveTimeoutMs;
    sendBytes(pair.peer, "x");
    EXPECT_EQ(pair.reader.tryReceive(&byte, 1, zubTcpDeadline::after(30)), 1u) << receiveTimeoutMs;
  }
}

}  // namespace
