// The TCP server: many clients at once, a clean stop with a call in flight, what it does
// with bytes that break the framing or the message, and its limits.
#include <future>

#include "server_test_support.h"

using namespace jex_test;

namespace {

// A raw connection to a server, speaking frames directly.
struct RawClient {
  explicit RawClient(const std::string& address)
      : socket(zubTcpSocket::connect(address, 5000)), reader(1 << 20) {}
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
  zubTcpSocket socket;
  zubJexFrameReader reader;
};

std::string addCall() { return callBytes("ICalc:add", false, {{"a", xint(4)}, {"b", xint(5)}}); }

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

TEST(TcpServer, StopLetsTheCallInFlightFinishAndAnswer) {
  TcpCalc calc;
  std::promise<void> entered, release;
  std::shared_future<void> released = release.get_future().share();
  zubJexMethodTable methods = calcServiceMethods();
  methods.add("stall", [&](xobject*, zubJexCall&) -> xany {
    entered.set_value();
    released.wait();
    return xint(42);
  });
  calc.dispatcher.addInterface("ICalc", methods);

  std::future<int> result = std::async(std::launch::async, [&] {
    zubJexCall call;
    call.setName("ICalc:stall");
    call.setReturnType(zubGetRtti_int());
    return client(calc.name)->makeCall(&call).toInt();
  });
  entered.get_future().wait();
  std::thread stopper([&] { calc.server.stop(); });
  while (!raisedBy([&] { zubTcpSocket::connect(calc.name, 1000); })) {
    std::this_thread::yield();  // until stop has begun
  }
  release.set_value();
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

TEST(TcpServer, AnswersAnUnreadableMessageAndKeepsTheConnection) {
  TcpCalc calc;
  RawClient raw(calc.name);
  zubJexResponse answer;
  ASSERT_TRUE(raw.exchange(framed(addCall().substr(0, addCall().size() - 3)), answer));
  EXPECT_EQ(answer.getFaultCode(), ZUBJEX_FAULT_BAD_REQUEST);
  EXPECT_EQ(answer.getFaultString(), "failed to read a call: unexpected end of message");
  ASSERT_TRUE(raw.exchange(framed(addCall()), answer));
  EXPECT_EQ(answer.getObject().toInt(), 9);
}

TEST(TcpServer, ClosesConnectionsThatBreakTheFramingIdleOrExceedTheLimit) {
  zubJexTcpServerOptions options;
  options.maxFrameSize = 1024;
  options.ioTimeoutMs = 30;
  options.idleTimeoutMs = 250;
  options.maxConnections = 2;
  TcpCalc calc(options);
  zubJexResponse answer;
  for (std::string bytes : {std::string("\x01\x04\x00\x00", 4),      // frame above the limit
                            std::string("GARBAGE BYTES"),            // garbage for a header
                            std::string("\x10\x00\x00\x00\x01", 5),  // frame that stalls
                            std::string()}) {                        // connection that idles
    EXPECT_FALSE(RawClient(calc.name).exchange(bytes, answer)) << bytes;
  }
  while (calc.server.connectionCount() != 0) std::this_thread::yield();
  RawClient first(calc.name), second(calc.name);
  ASSERT_TRUE(first.exchange(framed(addCall()), answer));  // both are being served
  ASSERT_TRUE(second.exchange(framed(addCall()), answer));
  EXPECT_FALSE(RawClient(calc.name).exchange(framed(addCall()), answer));  // one too many
  first.socket.close();
  while (calc.server.connectionCount() > 1) std::this_thread::yield();
  EXPECT_EQ(client(calc.name)->makeCall("ICalc", "add", values({xint(3), xint(3)})).toInt(), 6);
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
