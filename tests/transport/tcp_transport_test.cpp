// The client's TCP transport against scripted servers: connection failures, servers that
// die, stall or send too much, and the connection kept or made anew between exchanges.
#include <netdb.h>

#include <future>

#include "tcp_test_support.h"

using namespace jex_test;

namespace {

// Answers `count` requests on the connection with the sum 3, then closes it.
FakeServer::Script answering(int count) {
  return [count](zubTcpSocket& socket, zubJexFrameReader& reader) {
    for (int i = 0; i < count && readFrame(socket, reader); ++i) {
      sendBytes(socket, framed(responseBytes("addResponse", zubJexResponseValue, xint(3))));
    }
  };
}

TEST(TcpTransport, FailuresNameTheServerAndDropTheConnection) {
  struct Case {
    const char* name;
    FakeServer::Script script;  // null: nobody listens
    const char* text;           // "%s": the server's address
  } cases[] = {
      {"unreachable server", nullptr, "cannot connect to %s: Connection refused"},
      {"server dying during the call",
       [](zubTcpSocket& socket, zubJexFrameReader& reader) { readFrame(socket, reader); },
       "connection closed by %s"},
      {"silent server makes the time-out fire",
       [](zubTcpSocket& socket, zubJexFrameReader& reader) {
         readFrame(socket, reader);
         readFrame(socket, reader);  // holds the connection until the client drops it
       },
       "timed out waiting for %s"},
      {"oversized response frame",
       [](zubTcpSocket& socket, zubJexFrameReader& reader) {
         readFrame(socket, reader);
         sendBytes(socket, "\xff\xff\xff\x7f");
       },
       "frame of 2147483647 bytes from %s exceeds the limit of 16777216 bytes"},
  };
  for (const Case& c : cases) {
    FakeServer server;
    std::string address = server.address();
    if (c.script) server.serveOnce(c.script);
    if (!c.script) address = zubTcpListener::listen("127.0.0.1", 0).address();  // closed again
    zubJexTcpOptions options;
    options.ioTimeoutMs = 50;
    zubJexTcpTransport transport(options);
    transport.open(address.c_str());
    EXPECT_EQ(raisedText([&] { exchange(transport); }), withName(c.text, address)) << c.name;
    EXPECT_FALSE(transport.isConnected()) << c.name;
  }
}

TEST(TcpTransport, KeepsTheConnectionThroughReportedErrorsAndReconnectsWhenClosed) {
  FakeServer server;
  server.serveOnce(answering(4));
  zubJexTcpTransport transport{zubJexTcpOptions()};
  transport.open(server.address().c_str());
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(exchange(transport).toInt(), 3);
    EXPECT_TRUE(transport.isConnected());
  }
  // Reported after close, when another thread may already use the transport: it must
  // leave the connection alone.
  transport.reportException(xrchandle<zubXSerialization>());
  EXPECT_TRUE(transport.isConnected());
  EXPECT_EQ(exchange(transport).toInt(), 3);
  server.join();
  server.serveOnce(answering(1));  // then closes, as a server dropping idle clients does
  EXPECT_EQ(exchange(transport).toInt(), 3);
  server.join();
  server.serveOnce(answering(1));
  EXPECT_EQ(exchange(transport).toInt(), 3);  // on a new connection
}

TEST(TcpTransport, BytesThatNobodyAskedForMakeTheNextExchangeReconnect) {
  zubTcpListener listener = zubTcpListener::listen("127.0.0.1", 0);
  std::promise<void> answered, strayed;
  std::thread server([&] {
    const std::string answer = framed(responseBytes("addResponse", zubJexResponseValue, xint(3)));
    zubJexFrameReader reader(1024);
    zubTcpSocket first = listener.accept(zubTcpDeadline::after(5000), -1);
    if (readFrame(first, reader)) sendBytes(first, answer);
    answered.get_future().wait();
    sendBytes(first, "x");
    strayed.set_value();
    zubTcpSocket second = listener.accept(zubTcpDeadline::after(5000), -1);
    if (second.isOpen() && readFrame(second, reader)) sendBytes(second, answer);
  });
  zubJexTcpOptions options;
  options.ioTimeoutMs = 2000;
  zubJexTcpTransport transport(options);
  transport.open(listener.address().c_str());
  xany first, second;
  EXPECT_FALSE(raisedBy([&] { first = exchange(transport); }));
  answered.set_value();
  strayed.get_future().wait();
  EXPECT_FALSE(raisedBy([&] { second = exchange(transport); }));  // on the second connection
  server.join();
  EXPECT_EQ(first.toInt(), 3);
  EXPECT_EQ(second.toInt(), 3);
}

TEST(TcpTransport, SeveralAddressesConnectToTheFirstThatAnswers) {
  const std::string refusedA = zubTcpListener::listen("127.0.0.1", 0).address();  // closed again
  const std::string refusedB = zubTcpListener::listen("127.0.0.1", 0).address();
  FakeServer server;
  struct Case {
    std::string name;
    const char* error;  // null: answered by the server
  } cases[] = {
      {refusedA + "," + server.address(), nullptr},
      {refusedA + ", " + refusedB + ", " + server.address(), nullptr},
      {server.address() + "," + refusedA, nullptr},
      {refusedA + "," + refusedB,
       "cannot connect to any of %s: cannot connect to $A: Connection refused; cannot "
       "connect to $B: Connection refused"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    if (!c.error) server.serveOnce(answering(1));
    zubJexTcpTransport transport{zubJexTcpOptions()};
    transport.open(c.name.c_str());
    if (!c.error) {
      EXPECT_EQ(exchange(transport).toInt(), 3);
    } else {
      std::string expected = withName(c.error, c.name);
      expected.replace(expected.find("$A"), 2, refusedA);
      expected.replace(expected.find("$B"), 2, refusedB);
      EXPECT_EQ(raisedText([&] { exchange(transport); }), expected);
      EXPECT_FALSE(transport.isConnected());
    }
    server.join();
  }
}

TEST(TcpTransport, MalformedServerNameIsRefused) {
  zubJexTcpTransport transport{zubJexTcpOptions()};
  transport.open("no-port");
  transport.startOutput()->Write("x", 1);
  EXPECT_EQ(raisedText([&] { transport.finishOutput(); }), "invalid server address no-port");
}

TEST(TcpSocket, ConnectsByNameAndToBracketedIpv6Addresses) {
  if (!localhostResolves()) GTEST_SKIP() << "\"localhost\" does not resolve on this machine";
  zubTcpListener v4 = zubTcpListener::listen("127.0.0.1", 0);
  // "localhost" may resolve to ::1 first, where nobody listens: the next address is tried.
  zubTcpSocket byName = zubTcpSocket::connect("localhost:" + std::to_string(v4.port()), 2000);
  EXPECT_EQ(byName.peer(), "localhost:" + std::to_string(v4.port()));

  zubTcpListener v6;
  if (raisedBy([&] { v6 = zubTcpListener::listen("::1", 0); })) GTEST_SKIP() << "no IPv6 loopback";
  EXPECT_EQ(v6.address(), "[::1]:" + std::to_string(v6.port()));
  EXPECT_TRUE(zubTcpSocket::connect(v6.address(), 2000).isOpen());
  EXPECT_EQ(v6.accept(zubTcpDeadline::after(2000), -1).peer().rfind("[::1]:", 0), 0u);
}

}  // namespace
