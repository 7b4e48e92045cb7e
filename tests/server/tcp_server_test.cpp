// The TCP server: many clients at once, a clean stop with a call in flight, what it does
// with bytes that break the framing or the message, and its limits.
#include <gtest/gtest.h>

#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/rtti_registry.h"
#include "server_test_support.h"

using namespace server_test;

namespace {

// A raw connection to a server, speaking frames directly.
struct RawClient {
  explicit RawClient(const std::string& address)
      : socket(zubTcpSocket::connect(address, 5000)), reader(1 << 20) {}
  void send(const std::string& bytes) {
    socket.sendAll(bytes.data(), bytes.size(), zubTcpDeadline::after(5000));
  }
  // The outcome of waiting for the next frame, which is read into `answer`.
  zubJexFrameReader::Result receive(zubJexResponse& answer) {
    zubJexFrameReader::Result result = reader.read(socket, zubTcpDeadline::after(5000), 5000);
    if (result == zubJexFrameReader::kFrame)
      readAnswer(reader.message(), reader.messageSize(), answer);
    return result;
  }
  // True when the server closes (or resets) the connection after `bytes` instead of
  // answering.
  bool closedAfter(const std::string& bytes) {
    zubJexResponse answer;
    zubJexFrameReader::Result result = zubJexFrameReader::kFrame;
    xrcunihandle<xthrowable> error = raisedBy([&] {
      send(bytes);
      result = receive(answer);
    });
    return error || result == zubJexFrameReader::kClosed;
  }
  zubTcpSocket socket;
  zubJexFrameReader reader;
};

std::string framed(const std::string& message) {
  uint8_t header[kZubJexFrameHeaderSize];
  zubJexEncodeFrameLength(static_cast<uint32_t>(message.size()), header);
  return std::string(reinterpret_cast<char*>(header), sizeof(header)) + message;
}

std::string addCall(int a, int b) {
  return framed(callBytes("ICalc:add", false, {{"a", xint(a)}, {"b", xint(b)}}));
}

bool refusesConnections(const std::string& address) {
  return raisedBy([&] { zubTcpSocket::connect(address, 1000); }).get() != nullptr;
}

TEST(TcpServer, ServesManyClientsAtOnce) {
  TcpCalc calc;
  const int kThreads = 8;
  const int kCalls = 100;
  std::vector<std::thread> threads;
  std::vector<int> wrong(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kCalls; ++i) {
        xany sum = client(calc.name())->makeCall("ICalc", "add", values({xint(t), xint(i)}));
        if (sum.toInt() != t + i) ++wrong[t];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(kThreads, 0));
}

TEST(TcpServer, StopLetsTheCallInFlightFinishAndAnswer) {
  TcpCalc calc;
  std::promise<void> entered;
  std::promise<void> release;
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
    return client(calc.name())->makeCall(&call).toInt();
  });
  entered.get_future().wait();
  std::thread stopper([&] { calc.server.stop(); });
  while (!refusesConnections(calc.name())) std::this_thread::yield();  // stop has begun
  release.set_value();
  EXPECT_EQ(result.get(), 42);
  stopper.join();
  EXPECT_EQ(calc.server.connectionCount(), 0);
}

TEST(TcpServer, AnswersAnUnreadableMessageAndKeepsTheConnection) {
  TcpCalc calc;
  RawClient raw(calc.name());
  raw.send(framed("this is no call"));
  zubJexResponse fault;
  ASSERT_EQ(raw.receive(fault), zubJexFrameReader::kFrame);
  EXPECT_EQ(fault.getKind(), zubJexResponseFault);
  EXPECT_EQ(fault.getFaultCode(), ZUBJEX_FAULT_BAD_REQUEST);

  raw.send(addCall(4, 5));
  zubJexResponse sum;
  ASSERT_EQ(raw.receive(sum), zubJexFrameReader::kFrame);
  EXPECT_EQ(sum.getObject().toInt(), 9);
}

TEST(TcpServer, ClosesConnectionsThatBreakTheFramingOrIdle) {
  zubJexTcpServerOptions options;
  options.maxFrameSize = 1024;
  options.ioTimeoutMs = 30;
  options.idleTimeoutMs = 60;
  TcpCalc calc(options);
  struct Case {
    const char* name;
    std::string bytes;
  } cases[] = {
      {"frame above the limit", std::string("\x01\x04\x00\x00", 4)},
      {"garbage where a header belongs", "GARBAGE BYTES"},
      {"frame that stalls", std::string("\x10\x00\x00\x00\x01", 5)},
      {"connection that idles", ""},
  };
  for (const Case& c : cases) {
    RawClient raw(calc.name());
    EXPECT_TRUE(raw.closedAfter(c.bytes)) << c.name;
  }
  EXPECT_EQ(client(calc.name())->makeCall("ICalc", "add", values({xint(1), xint(2)})).toInt(), 3);
}

TEST(TcpServer, ClosesConnectionsBeyondItsLimit) {
  zubJexTcpServerOptions options;
  options.maxConnections = 1;
  TcpCalc calc(options);
  zubJexResponse answer;
  {
    RawClient first(calc.name());
    first.send(addCall(1, 1));
    ASSERT_EQ(first.receive(answer), zubJexFrameReader::kFrame);  // it is being served
    RawClient second(calc.name());
    EXPECT_TRUE(second.closedAfter(addCall(2, 2)));
  }
  while (calc.server.connectionCount() != 0) std::this_thread::yield();
  RawClient third(calc.name());
  third.send(addCall(3, 3));
  ASSERT_EQ(third.receive(answer), zubJexFrameReader::kFrame);
  EXPECT_EQ(answer.getObject().toInt(), 6);
}

TEST(TcpServer, StartFailsOnAPortInUse) {
  TcpCalc first;
  zubJexTcpServerOptions options;
  options.port = first.server.port();
  zubJexTcpServer second(first.dispatcher, options);
  EXPECT_EQ(descriptionOf(raisedBy([&] { second.start(); })),
            "cannot listen on " + first.name() + ": Address already in use");
}

}  // namespace
