// The client's TCP transport against scripted servers: connection failures, servers that
// die, stall or send too much, and the connection kept or made anew between exchanges.
// Errors reach the host as client errors that name the server.
#include <gtest/gtest.h>

#include <string>

#include "tcp_test_support.h"

using namespace tcp_test;

namespace {

// Sends an "ICalc:add" call through the transport and reads the answer into `response`.
void exchange(zubJexTransport& transport, zubJexResponse& response) {
  NoHostObjects map;
  zubJexCall call;
  call.setName("ICalc:add");
  call.addParam("a", xint(1));
  call.addParam("b", xint(2));
  zubJEXSerializer::getInstance()->writeCall(transport.startOutput(), call, &map);
  transport.finishOutput();
  zubJEXSerializer::getInstance()->readResponse(transport.startInput(), response, &map, "server");
  transport.close();
}

// A fake server's answer to one request: reads it and replies with sum 3.
void answerOne(zubTcpSocket& socket, zubJexFrameReader& reader) {
  if (readRequest(socket, reader)) sendFrame(socket, valueResponse("addResponse", xint(3)));
}

xany callAdd(const std::string& server) {
  return zubJexClient::getInstance(server.c_str())
      ->makeCall("ICalc", "add", values({xint(1), xint(2)}));
}

TEST(TcpTransport, UnreachableServerIsAClientErrorNamingIt) {
  std::string address = zubTcpListener::listen("127.0.0.1", 0).address();  // closed again
  useTcp(address);
  xrcunihandle<xthrowable> error = raisedBy([&] { callAdd(address); });
  ASSERT_TRUE(zubXSerialization::softcast(error.get()) != nullptr);
  EXPECT_EQ(descriptionOf(error),
            "JEX Client Error: cannot connect to " + address + ": Connection refused.");
}

TEST(TcpSocket, ConnectsByNameAndToBracketedIpv6Addresses) {
  zubTcpListener v4 = zubTcpListener::listen("127.0.0.1", 0);
  // "localhost" may resolve to ::1 first, where nobody listens: the next address is tried.
  zubTcpSocket byName = zubTcpSocket::connect("localhost:" + std::to_string(v4.port()), 2000);
  EXPECT_TRUE(byName.isOpen());
  EXPECT_EQ(byName.peer(), "localhost:" + std::to_string(v4.port()));

  zubTcpListener v6;
  if (raisedBy([&] { v6 = zubTcpListener::listen("::1", 0); })) GTEST_SKIP() << "no IPv6 loopback";
  EXPECT_EQ(v6.address(), "[::1]:" + std::to_string(v6.port()));
  EXPECT_TRUE(zubTcpSocket::connect(v6.address(), 2000).isOpen());
  zubTcpSocket accepted = v6.accept(zubTcpDeadline::after(2000), -1);
  EXPECT_EQ(accepted.peer().rfind("[::1]:", 0), 0u);
}

TEST(TcpTransport, MalformedServerNameIsRefused) {
  zubJexTcpTransport transport{zubJexTcpOptions()};
  transport.open("no-port");
  transport.startOutput()->Write("x", 1);
  EXPECT_EQ(descriptionOf(raisedBy([&] { transport.finishOutput(); })),
            "invalid server address no-port");
}

TEST(TcpTransport, ServerDyingDuringTheCallIsAClientErrorNamingIt) {
  FakeServer server;
  useTcp(server.address());
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    readRequest(socket, reader);  // and close without an answer
  });
  EXPECT_EQ(descriptionOf(raisedBy([&] { callAdd(server.address()); })),
            "JEX Client Error: connection closed by " + server.address() + ".");
}

TEST(TcpTransport, SilentServerMakesTheTimeoutFire) {
  FakeServer server;
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    readRequest(socket, reader);
    readRequest(socket, reader);  // holds the connection until the client drops it
  });
  zubJexTcpOptions options;
  options.ioTimeoutMs = 50;
  zubJexTcpTransport transport(options);
  transport.open(server.address().c_str());
  zubJexResponse response;
  EXPECT_EQ(descriptionOf(raisedBy([&] { exchange(transport, response); })),
            "timed out waiting for " + server.address());
  EXPECT_FALSE(transport.isConnected());
}

TEST(TcpTransport, OversizedResponseFrameIsRefused) {
  FakeServer server;
  useTcp(server.address());
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    readRequest(socket, reader);
    socket.sendAll("\xff\xff\xff\x7f", 4, zubTcpDeadline::after(5000));
  });
  EXPECT_EQ(descriptionOf(raisedBy([&] { callAdd(server.address()); })),
            "JEX Client Error: frame of 2147483647 bytes from " + server.address() +
                " exceeds the limit of 16777216 bytes.");
}

TEST(TcpTransport, KeepsTheConnectionFromExchangeToExchange) {
  FakeServer server;
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    for (int i = 0; i < 3; ++i) answerOne(socket, reader);
  });
  zubJexTcpTransport transport{zubJexTcpOptions()};
  transport.open(server.address().c_str());
  for (int i = 0; i < 3; ++i) {
    zubJexResponse response;
    exchange(transport, response);
    EXPECT_EQ(response.getObject().toInt(), 3);
    EXPECT_TRUE(transport.isConnected());
  }
}

TEST(TcpTransport, ReconnectsWhenTheServerClosedTheKeptConnection) {
  FakeServer server;
  useTcp(server.address());
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    answerOne(socket, reader);  // then closes, as a server dropping idle clients does
  });
  EXPECT_EQ(callAdd(server.address()).toInt(), 3);
  server.join();
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    answerOne(socket, reader);
  });
  EXPECT_EQ(callAdd(server.address()).toInt(), 3);
}

TEST(TcpTransport, ReportedErrorDropsTheConnection) {
  FakeServer server;
  server.serveOnce([](zubTcpSocket& socket) {
    zubJexFrameReader reader(1024);
    answerOne(socket, reader);
  });
  zubJexTcpTransport transport{zubJexTcpOptions()};
  transport.open(server.address().c_str());
  zubJexResponse response;
  exchange(transport, response);
  ASSERT_TRUE(transport.isConnected());
  transport.reportException(xrchandle<zubXSerialization>());
  EXPECT_FALSE(transport.isConnected());
}

}  // namespace
