// The TCP server: many clients at once, a clean stop with a call in flight, what it does
// with bytes that break the framing or the message, its time limits, and how it makes
// room for a new client when every connection slot is taken.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <functional>
#include <future>
#include <memory>

#include "server_test_support.h"

using namespace jex_test;

namespace {

// A raw connection to a server, speaking frames directly.
struct RawClient {
  explicit RawClient(const std::string& address)
      : socket(zubTcpSocket::connect(address, 5000)), reader(1 << 20) {}
  explicit RawClient(zubTcpSocket connected) : socket(std::move(connected)), reader(1 << 20) {}
  // Sends `bytes` and reads the answer; false when the server closes (or resets) the
  // connection instead.
  bool exchange(const std::string& bytes, zubJexResponse& answer) {
    bool answered = false;
    raisedBy([&] {
      sendBytes(socket, bytes);
      answered = readFrame(socket, reader);
    });
    if (answered) decodeResponse(reader.message(), reader.messageSize(), answer);
    return answered;
  }
  // Drops whatever the server sends until it closes the connection; false when it has
  // not closed it within 10 s.
  bool closedByServer() {
    bool closed = false;
    xrcunihandle<xthrowable> reset = raisedBy([&] {
      char bytes[64 * 1024];
      for (;;) {
        const size_t n = socket.tryReceive(bytes, sizeof(bytes), zubTcpDeadline::after(10000));
        if (n == zubTcpSocket::kTimedOut) return;
        if (n == 0) {
          closed = true;
          return;
        }
      }
    });
    return closed || reset;
  }
  zubTcpSocket socket;
  zubJexFrameReader reader;
};

std::string addCall() { return callBytes("ICalc:add", false, {{"a", xint(4)}, {"b", xint(5)}}); }

// A connection to `port` on 127.0.0.1 with a receive buffer of a few KiB, set before
// connecting so that the window it offers stays that small.
zubTcpSocket connectWithTinyWindow(int port) {
  int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int size = 4096;
  ::setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof(size));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  return zubTcpSocket(fd, "server");
}

// The calculator over TCP with more methods, added before the server starts:
// "stall" blocks until release(), and "big" answers with a string of 8 MiB; `entered`
// counts the calls of both.
struct StallingCalc : CalcDispatcher {
  explicit StallingCalc(const zubJexTcpServerOptions& options = zubJexTcpServerOptions())
      : server(dispatcher, options), released(release_.get_future().share()) {
    zubJexMethodTable methods = calcServiceMethods();
    methods.add("stall", [this](xobject*, zubJexCall&) -> xany {
      ++entered;
      released.wait();
      return xint(42);
    });
    methods.add("big", [this](xobject*, zubJexCall&) -> xany {
      ++entered;
      return xstring(std::string(8 << 20, 'x').c_str());
    });
    dispatcher.addInterface("ICalc", methods);
    server.start();
    name = useTcp(server.address());
  }
  ~StallingCalc() override {
    release();
    server.stop();  // before the members that the handlers use go
  }

  void release() {
    if (!releasedOnce.exchange(true)) release_.set_value();
  }
  // Waits until `n` calls have entered "stall" or "big".
  void awaitEntered(int n) {
    while (entered.load() < n) std::this_thread::yield();
  }

  zubJexTcpServer server;
  std::atomic<int> entered{0};
  std::promise<void> release_;
  std::shared_future<void> released;
  std::atomic<bool> releasedOnce{false};
};

std::string stallCall() { return callBytes("ICalc:stall", false, {}); }

TEST(TcpServer, ServesManyClientsAtOnce) {
  TcpCalc calc;
  std::vector<int> wrong(8, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 100; ++i) {
        xany sum = client(calc.name)->makeCall("ICalc", "add", values({xint(t), xint(i)}));
        if (sum.toInt() != t + i) ++wrong[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(8, 0));
}

TEST(TcpServer, StopClosesIdleConnectionsAndLetsTheCallInFlightFinishAndAnswer) {
  zubJexTcpServerOptions options;
  options.threads = 2;  // one for the stalled call, one to close the idle connections
  StallingCalc calc(options);
  RawClient idle(calc.name);
  RawClient silent(calc.name);  // never sends a byte
  zubJexResponse answer;
  ASSERT_TRUE(idle.exchange(framed(addCall()), answer));

  std::future<int> result = std::async(std::launch::async, [&] {
    zubJexCall call;
    call.setName("ICalc:stall");
    call.setReturnType(zubGetRtti_int());
    return client(calc.name)->makeCall(&call).toInt();
  });
  calc.awaitEntered(1);
  std::thread stopper([&] { calc.server.stop(); });
  while (!raisedBy([&] { zubTcpSocket::connect(calc.name, 1000); })) {
    std::this_thread::yield();  // until stop has begun
  }
  EXPECT_TRUE(idle.closedByServer());
  EXPECT_TRUE(silent.closedByServer());
  calc.release();
  EXPECT_EQ(result.get(), 42);
  stopper.join();
  EXPECT_EQ(calc.server.connectionCount(), 0);
}

// Idle connections wait for their next request without a time limit that would end
// them soon (the default idle time-out is minutes): stop has to end the wait.
TEST(TcpServer, StopEndsConnectionsThatWaitAndOnesThatKeepCalling) {
  TcpCalc calc;
  zubJexResponse answer;
  RawClient waiting(calc.name);
  ASSERT_TRUE(waiting.exchange(framed(addCall()), answer));
  std::atomic<int> calls{0};
  std::thread caller([&] {
    RawClient busy(calc.name);
    zubJexResponse sum;
    while (calls < 1000000 && busy.exchange(framed(addCall()), sum)) ++calls;
  });
  while (calls < 10) std::this_thread::yield();
  calc.server.stop();
  caller.join();
  EXPECT_EQ(calc.server.connectionCount(), 0);
  EXPECT_FALSE(waiting.exchange(framed(addCall()), answer));
}

TEST(TcpServer, AnswersUnreadableMessagesAndKeepsTheConnection) {
  TcpCalc calc;
  RawClient raw(calc.name);
  zubJexResponse answer;
  for (std::string message : {addCall().substr(0, addCall().size() - 3), std::string()}) {
    ASSERT_TRUE(raw.exchange(framed(message), answer)) << message.size();
    EXPECT_EQ(answer.getFaultCode(), ZUBJEX_FAULT_BAD_REQUEST);
    EXPECT_EQ(answer.getFaultString(), "failed to read a call: unexpected end of message");
  }
  ASSERT_TRUE(raw.exchange(framed(addCall()), answer));
  EXPECT_EQ(answer.getObject().toInt(), 9);
}

TEST(TcpServer, AnswersRequestsSentBeforeTheirAnswersInOrder) {
  TcpCalc calc;
  RawClient raw(calc.name);
  std::string three;
  for (int i = 0; i < 3; ++i) {
    three += framed(callBytes("ICalc:add", false, {{"a", xint(i)}, {"b", xint(10)}}));
  }
  sendBytes(raw.socket, three);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(readFrame(raw.socket, raw.reader));
    zubJexResponse answer;
    decodeResponse(raw.reader.message(), raw.reader.messageSize(), answer);
    EXPECT_EQ(answer.getObject().toInt(), i + 10);
  }
}

TEST(TcpServer, ClosesConnectionsThatBreakTheFraming) {
  zubJexTcpServerOptions options;
  options.maxFrameSize = 1024;
  TcpCalc calc(options);
  zubJexResponse answer;
  for (std::string bytes : {std::string("\x01\x04\x00\x00", 4),  // frame above the limit
                            std::string("GARBAGE BYTES")}) {     // garbage for a header
    EXPECT_FALSE(RawClient(calc.name).exchange(bytes, answer)) << bytes;
  }
  while (calc.server.connectionCount() != 0) std::this_thread::yield();
  EXPECT_EQ(client(calc.name)->makeCall("ICalc", "add", values({xint(3), xint(3)})).toInt(), 6);
}

// Each time limit closes the connection that exceeds it, with the others far away.
TEST(TcpServer, EachTimeLimitClosesItsConnection) {
  struct Case {
    const char* name;
    int zubJexTcpServerOptions::*limit;
    std::function<void(RawClient&)> misbehave;
  };
  const Case cases[] = {
      {"first request", &zubJexTcpServerOptions::firstRequestTimeoutMs, [](RawClient&) {}},
      {"frame half sent", &zubJexTcpServerOptions::frameTimeoutMs,
       [](RawClient& raw) { sendBytes(raw.socket, std::string("\x10\x00\x00\x00\x01", 5)); }},
      {"header half sent", &zubJexTcpServerOptions::frameTimeoutMs,
       [](RawClient& raw) { sendBytes(raw.socket, std::string("\x10\x00", 2)); }},
      {"idle after a call", &zubJexTcpServerOptions::idleTimeoutMs,
       [](RawClient& raw) {
         zubJexResponse answer;
         ASSERT_TRUE(raw.exchange(framed(addCall()), answer));
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    zubJexTcpServerOptions options;
    options.firstRequestTimeoutMs = options.frameTimeoutMs = options.idleTimeoutMs =
        options.writeTimeoutMs = 60000;
    options.*c.limit = 50;
    TcpCalc calc(options);
    RawClient raw(calc.name);
    c.misbehave(raw);
    EXPECT_TRUE(raw.closedByServer());
    while (calc.server.connectionCount() != 0) std::this_thread::yield();
  }
}

TEST(TcpServer, WriteTimeLimitClosesAConnectionThatDoesNotTakeItsResponse) {
  zubJexTcpServerOptions options;
  options.writeTimeoutMs = 100;
  StallingCalc calc(options);
  RawClient raw(connectWithTinyWindow(calc.server.port()));
  sendBytes(raw.socket, framed(callBytes("ICalc:big", false, {})));
  calc.awaitEntered(1);  // then given up on while the response waits for room
  while (calc.server.connectionCount() != 0) std::this_thread::yield();
  size_t received = 0;
  raisedBy([&] {
    char bytes[64 * 1024];
    size_t n;
    while ((n = raw.socket.tryReceive(bytes, sizeof(bytes), zubTcpDeadline::after(10000))) != 0 &&
           n != zubTcpSocket::kTimedOut) {
      received += n;
    }
  });
  EXPECT_LT(received, size_t{8} << 20);  // the response was cut off
}

// Eight slots and twelve connections that never send a byte: each new connection takes
// the slot of the one idle longest, and so does a client that calls. A connection that
// calls is idle again only once its response has gone, so the order is checked among
// connections that have not called.
TEST(TcpServer, MakesRoomByClosingTheConnectionIdleLongest) {
  zubJexTcpServerOptions options;
  options.maxConnections = 8;
  TcpCalc calc(options);
  std::vector<std::unique_ptr<RawClient>> idle;
  for (int i = 0; i < 12; ++i) idle.emplace_back(new RawClient(calc.name));
  EXPECT_EQ(client(calc.name)->makeCall("ICalc", "add", values({xint(3), xint(4)})).toInt(), 7);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(idle[i]->closedByServer()) << i;
  EXPECT_EQ(calc.server.connectionCount(), 8);

  zubJexResponse answer;
  ASSERT_TRUE(idle[5]->exchange(framed(addCall()), answer));  // now waits less long than 6
  RawClient newcomer(calc.name);
  EXPECT_TRUE(newcomer.exchange(framed(addCall()), answer));
  EXPECT_TRUE(idle[6]->closedByServer());
  for (int i : {5, 7, 8, 9, 10, 11}) EXPECT_TRUE(idle[i]->exchange(framed(addCall()), answer)) << i;
}

TEST(TcpServer, ClosesANewConnectionWhenEveryOtherIsBusy) {
  zubJexTcpServerOptions options;
  options.maxConnections = 2;
  options.threads = 4;  // two stalled calls leave workers for the rest
  StallingCalc calc(options);
  std::vector<std::future<bool>> stalled;
  for (int i = 0; i < 2; ++i) {
    stalled.push_back(std::async(std::launch::async, [&] {
      RawClient raw(calc.name);
      zubJexResponse answer;
      return raw.exchange(framed(stallCall()), answer) && answer.getObject().toInt() == 42;
    }));
  }
  calc.awaitEntered(2);
  RawClient refused(calc.name);
  EXPECT_TRUE(refused.closedByServer());
  calc.release();
  for (std::future<bool>& call : stalled) EXPECT_TRUE(call.get());
}

TEST(TcpServer, StartFailsOnAPortInUse) {
  TcpCalc first;
  zubJexTcpServerOptions options;
  options.port = first.server.port();
  zubJexTcpServer second(first.dispatcher, options);
  EXPECT_EQ(raisedText([&] { second.start(); }),
            "cannot listen on " + first.name + ": Address already in use");
}

}  // namespace
