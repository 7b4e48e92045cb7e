// The TCP server: many clients at once, a clean stop with a call in flight, what it does
// with bytes that break the framing or the message, its time limits, and how it makes
// room for a new client when every connection slot is taken.
#include <functional>
#include <future>
#include <memory>

#include "asio_test_client.h"

using namespace jex_test;

namespace {

// A plain connection to the server of `calc`, speaking frames directly.
struct RawClient : AsioClient {
  explicit RawClient(const zubJexTcpServer& server, const ClientSetup& setup = ClientSetup())
      : AsioClient(server.port(), setup) {}
};

// The calculator over TCP with more methods, added before the server starts:
// "stall" blocks until release(), and "big" answers with a string of 8 MiB; `entered`
// counts the calls of both.
struct StallingCalc : CalcDispatcher {
  explicit StallingCalc(const zubJexTcpServerOptions& options = zubJexTcpServerOptions())
      : server(dispatcher, options), released(release_.get_future().share()) {
    zubJexMethodTable methods = ICalcSkeleton::methodTable();
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

TEST(TcpServer, StopClosesIdleConnectionsAndLetsTheCallInFlightFinishAndAnswer) {
  zubJexTcpServerOptions options;
  options.threads = 2;  // one for the stalled call, one to close the idle connections
  StallingCalc calc(options);
  RawClient idle(calc.server);
  RawClient silent(calc.server);  // never sends a byte
  zubJexResponse answer;
  ASSERT_TRUE(idle.exchange(addCall(), answer));

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
  RawClient waiting(calc.server);
  ASSERT_TRUE(waiting.exchange(addCall(), answer));
  std::atomic<int> calls{0};
  std::thread caller([&] {
    RawClient busy(calc.server);
    zubJexResponse sum;
    while (calls < 1000000 && busy.exchange(addCall(), sum)) ++calls;
  });
  while (calls < 10) std::this_thread::yield();
  calc.server.stop();
  caller.join();
  EXPECT_EQ(calc.server.connectionCount(), 0);
  EXPECT_FALSE(waiting.exchange(addCall(), answer));
}

TEST(TcpServer, AnswersUnreadableMessagesAndKeepsTheConnection) {
  TcpCalc calc;
  RawClient raw(calc.server);
  zubJexResponse answer;
  for (std::string message : {addCall().substr(0, addCall().size() - 3), std::string()}) {
    ASSERT_TRUE(raw.exchange(message, answer)) << message.size();
    EXPECT_EQ(answer.getFaultCode(), ZUBJEX_FAULT_BAD_REQUEST);
    EXPECT_EQ(answer.getFaultString(), "failed to read a call: unexpected end of message");
  }
  ASSERT_TRUE(raw.exchange(addCall(), answer));
  EXPECT_EQ(answer.getObject().toInt(), 9);
}

TEST(TcpServer, AnswersRequestsSentBeforeTheirAnswersInOrder) {
  TcpCalc calc;
  RawClient raw(calc.server);
  std::string three;
  for (int i = 0; i < 3; ++i) {
    three += framed(callBytes("ICalc:add", false, {{"a", xint(i)}, {"b", xint(10)}}));
  }
  raw.send(three);
  for (int i = 0; i < 3; ++i) {
    zubJexResponse answer;
    ASSERT_TRUE(raw.readAnswer(answer));
    EXPECT_EQ(answer.getObject().toInt(), i + 10);
  }
}

TEST(TcpServer, ClosesConnectionsThatBreakTheFraming) {
  zubJexTcpServerOptions options;
  options.maxFrameSize = 1024;
  TcpCalc calc(options);
  for (std::string bytes : {std::string("\x01\x04\x00\x00", 4),  // frame above the limit
                            std::string("GARBAGE BYTES")}) {     // garbage for a header
    RawClient raw(calc.server);
    raw.send(bytes);
    EXPECT_TRUE(raw.closedByServer()) << bytes;
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
       [](RawClient& raw) { raw.send(std::string("\x10\x00\x00\x00\x01", 5)); }},
      {"header half sent", &zubJexTcpServerOptions::frameTimeoutMs,
       [](RawClient& raw) { raw.send(std::string("\x10\x00", 2)); }},
      {"idle after a call", &zubJexTcpServerOptions::idleTimeoutMs,
       [](RawClient& raw) {
         zubJexResponse answer;
         ASSERT_TRUE(raw.exchange(addCall(), answer));
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    zubJexTcpServerOptions options;
    options.firstRequestTimeoutMs = options.frameTimeoutMs = options.idleTimeoutMs =
        options.writeTimeoutMs = 60000;
    options.*c.limit = 50;
    TcpCalc calc(options);
    RawClient raw(calc.server);
    c.misbehave(raw);
    EXPECT_TRUE(raw.closedByServer());
    while (calc.server.connectionCount() != 0) std::this_thread::yield();
  }
}

TEST(TcpServer, WriteTimeLimitClosesAConnectionThatDoesNotTakeItsResponse) {
  zubJexTcpServerOptions options;
  options.writeTimeoutMs = 100;
  StallingCalc calc(options);
  ClientSetup tinyWindow;
  tinyWindow.receiveBuffer = 4096;
  RawClient raw(calc.server, tinyWindow);
  raw.send(framed(callBytes("ICalc:big", false, {})));
  calc.awaitEntered(1);  // then given up on while the response waits for room
  while (calc.server.connectionCount() != 0) std::this_thread::yield();
  const size_t received = raw.drain();
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
  for (int i = 0; i < 12; ++i) idle.emplace_back(new RawClient(calc.server));
  EXPECT_EQ(client(calc.name)->makeCall("ICalc", "add", values({xint(3), xint(4)})).toInt(), 7);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(idle[i]->closedByServer()) << i;
  EXPECT_EQ(calc.server.connectionCount(), 8);

  zubJexResponse answer;
  ASSERT_TRUE(idle[5]->exchange(addCall(), answer));  // now waits less long than 6
  RawClient newcomer(calc.server);
  EXPECT_TRUE(newcomer.exchange(addCall(), answer));
  EXPECT_TRUE(idle[6]->closedByServer());
  for (int i : {5, 7, 8, 9, 10, 11}) EXPECT_TRUE(idle[i]->exchange(addCall(), answer)) << i;
}

TEST(TcpServer, ClosesANewConnectionWhenEveryOtherIsBusy) {
  zubJexTcpServerOptions options;
  options.maxConnections = 2;
  options.threads = 4;  // two stalled calls leave workers for the rest
  StallingCalc calc(options);
  std::vector<std::future<bool>> stalled;
  for (int i = 0; i < 2; ++i) {
    stalled.push_back(std::async(std::launch::async, [&] {
      RawClient raw(calc.server);
      zubJexResponse answer;
      return raw.exchange(stallCall(), answer) && answer.getObject().toInt() == 42;
    }));
  }
  calc.awaitEntered(2);
  RawClient refused(calc.server);
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
