// Call deadlines over TCP: the deadline ends the wait of every step (connecting, sending,
// waiting for the response, receiving its rest, sending again on a new connection) long
// before the transport's own time-outs, the host gets the client's deadline error, and
// the client is back in the pool.
#include "client/deadline.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <chrono>
#include <future>

#include "examples/calc/calc_service.h"
#include "server/tcp_server.h"
#include "tcp_test_support.h"

using namespace jex_test;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

namespace {

// Generous: each case's deadline is 200 ms, its transport's time-outs are 2 s and 5 s.
constexpr milliseconds kDeadline(200);
constexpr milliseconds kFailsWellUnder(1500);
// Larger than what the sender's and the non-reading receiver's buffers take together.
const size_t kLargeRequest = 8u << 20;

// A listening socket on 127.0.0.1 whose accept queue is full, so that the system drops a
// new connection's SYN and connecting waits. full() is false when the system answered
// every attempt all the same (the case is then skipped).
class FullBacklog {
 public:
  FullBacklog() {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    listening_.reset(fd);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&a), len) != 0 || ::listen(fd, 0) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) {
      return;
    }
    address_ = "127.0.0.1:" + std::to_string(ntohs(a.sin_port));
    for (int i = 0; i < 8 && !full_; ++i) {
      full_ = bool(raisedBy([&] { fillers_.push_back(zubTcpSocket::connect(address_, 300)); }));
    }
  }
  bool full() const { return full_; }
  const std::string& address() const { return address_; }

 private:
  zubTcpFileDescriptor listening_;
  std::string address_;
  std::vector<zubTcpSocket> fillers_;
  bool full_ = false;
};

std::string deadlineText(const std::string& server) {
  return "JEX Client Error: JEX call to " + server + " exceeded its deadline.";
}

// What a call under the deadline did, seen from the host.
struct Result {
  std::string error;  // "" when it returned
  milliseconds took;
  bool clientFree;
};

Result callWithin(const std::string& server, milliseconds deadline,
                  const std::function<void(zubJexClient*)>& call) {
  zubJexClient* client = zubJexClient::getInstance(server.c_str());
  Result result;
  Clock::time_point start = Clock::now();
  testing::internal::CaptureStderr();
  {
    zubJexDeadline scope(deadline);
    xrcunihandle<xthrowable> raised = raisedBy([&] { call(client); });
    result.error = raised ? descriptionOf(raised.get()) : "";
  }
  testing::internal::GetCapturedStderr();
  result.took = std::chrono::duration_cast<milliseconds>(Clock::now() - start);
  zubJexClient* next = zubJexClient::getInstance(server.c_str());
  result.clientFree = next == client;
  zubJexClient::freeInstance(next);
  return result;
}

void add(zubJexClient* client) { client->makeCall("ICalc", "add", values({xint(1), xint(2)})); }

void logLarge(zubJexClient* client) {
  client->makeVoidCall("ICalc", "log", values({xstring(std::string(kLargeRequest, 'x').c_str())}));
}

// Holds the connection, reading nothing, until the test is done with it.
FakeServer::Script holdUntil(std::shared_future<void> done) {
  return [done](zubTcpSocket&, zubJexFrameReader&) { done.wait_for(std::chrono::seconds(5)); };
}

TEST(TcpDeadline, EndsTheWaitOfEveryStep) {
  std::promise<void> doneSignal;
  std::shared_future<void> done = doneSignal.get_future().share();
  struct Case {
    const char* step;
    FakeServer::Script script;
    std::function<void(zubJexClient*)> call;
  } cases[] = {
      {"sending a request that the server does not read", holdUntil(done), logLarge},
      {"waiting for the response",
       [done](zubTcpSocket& socket, zubJexFrameReader& reader) {
         readFrame(socket, reader);
         done.wait_for(std::chrono::seconds(5));
       },
       add},
      {"receiving the rest of a response cut in the middle",
       [done](zubTcpSocket& socket, zubJexFrameReader& reader) {
         readFrame(socket, reader);
         sendBytes(socket, framed(std::string(100, 'r')).substr(0, 14));
         done.wait_for(std::chrono::seconds(5));
       },
       add},
      {"waiting under a nested scope with a later deadline", holdUntil(done),
       [](zubJexClient* client) {
         zubJexDeadline later(std::chrono::seconds(60));
         add(client);
       }},
  };
  std::vector<std::unique_ptr<FakeServer>> servers;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.step);
    servers.emplace_back(new FakeServer());
    servers.back()->serveOnce(c.script);
    std::string name = useTcp(servers.back()->address());

    Result result = callWithin(name, kDeadline, c.call);

    EXPECT_EQ(result.error, deadlineText(name));
    EXPECT_LT(result.took, kFailsWellUnder);
    EXPECT_TRUE(result.clientFree);
  }
  doneSignal.set_value();
}

TEST(TcpDeadline, EndsConnectingToAServerThatDoesNotAnswer) {
  FullBacklog listener;
  if (!listener.full()) GTEST_SKIP() << "the system answers connections beyond the backlog";
  std::string name = useTcp(listener.address());

  Result result = callWithin(name, kDeadline, add);

  EXPECT_EQ(result.error, deadlineText(name));
  EXPECT_LT(result.took, kFailsWellUnder);
  EXPECT_TRUE(result.clientFree);
}

// The kept connection breaks while the request is being sent: the transport sends it
// again on a new connection, whose wait the deadline ends as well.
TEST(TcpDeadline, EndsTheRepeatedSendOnANewConnection) {
  zubTcpListener listener = zubTcpListener::listen("127.0.0.1", 0);
  std::promise<void> doneSignal;
  std::atomic<bool> secondAccepted{false};
  std::thread server([&] {
    zubJexFrameReader reader(1024);
    zubTcpSocket first = listener.accept(zubTcpDeadline::after(5000), -1);
    if (!first.isOpen() || !readFrame(first, reader)) return;
    sendBytes(first, framed(responseBytes("addResponse", zubJexResponseValue, xint(3))));
    char byte;  // the next request has begun: break the connection under it
    if (first.tryReceive(&byte, 1, zubTcpDeadline::after(5000)) != 1) return;
    first.close();  // unread bytes: the system resets the connection
    zubTcpSocket second = listener.accept(zubTcpDeadline::after(5000), -1);
    secondAccepted = second.isOpen();
    doneSignal.get_future().wait_for(std::chrono::seconds(5));
  });
  std::string name = useTcp(listener.address());
  EXPECT_EQ(callWithin(name, milliseconds(5000), add).error, "");

  Result result = callWithin(name, milliseconds(1000), logLarge);

  doneSignal.set_value();
  server.join();
  EXPECT_TRUE(secondAccepted);
  EXPECT_EQ(result.error, deadlineText(name));
  EXPECT_LT(result.took, milliseconds(2500));
  EXPECT_TRUE(result.clientFree);
}

TEST(TcpDeadline, CallAfterTheDeadlineFailsWithoutConnecting) {
  zubTcpListener listener = zubTcpListener::listen("127.0.0.1", 0);
  std::string name = useTcp(listener.address());

  Result result = callWithin(name, milliseconds(0), add);

  EXPECT_EQ(result.error, deadlineText(name));
  EXPECT_TRUE(result.clientFree);
  EXPECT_FALSE(listener.accept(zubTcpDeadline::after(100), -1).isOpen());
}

// A deadline later than the transport's own time-out leaves that time-out in charge.
TEST(TcpDeadline, OwnTimeOutThatEndsFirstIsReportedAsSuch) {
  std::promise<void> doneSignal;
  FakeServer server;
  server.serveOnce(holdUntil(doneSignal.get_future().share()));
  zubJexTcpOptions options;
  options.ioTimeoutMs = 100;
  zubJexTcpTransport transport(options);
  transport.open(server.address().c_str());
  zubJexDeadline deadline(std::chrono::seconds(30));
  transport.startOutput()->Write("x", 1);
  transport.finishOutput();
  EXPECT_EQ(raisedText([&] { transport.startInput(); }),
            "timed out waiting for " + server.address());
  doneSignal.set_value();
}

// The deadline belongs to the thread: callers of one server on several threads at once,
// with and without deadlines, each end as their own deadline says.
TEST(TcpDeadlineConcurrency, EachThreadKeepsItsOwnDeadline) {
  calcRegisterTypes();
  zubJexDispatcher dispatcher;
  calcServe(dispatcher, new CalcService("root"));
  zubJexMethodTable methods = ICalcSkeleton::methodTable();
  methods.add("slow", [](xobject*, zubJexCall&) -> xany {
    std::this_thread::sleep_for(milliseconds(300));
    return xint(7);
  });
  dispatcher.addInterface("ICalc", methods);
  zubJexTcpServer server(dispatcher);
  server.start();
  const std::string name = useTcp(server.address());
  auto slow = [](zubJexClient* client) {
    zubJexCall call;
    call.setName("ICalc:slow");
    call.setReturnType(zubGetRtti_int());
    client->makeCall(&call);
  };
  constexpr int kThreads = 6;
  std::vector<std::string> errors(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    // Even threads allow 50 ms, odd ones 10 s.
    milliseconds deadline = t % 2 == 0 ? milliseconds(50) : milliseconds(10000);
    threads.emplace_back([&, t, deadline] {
      zubJexDeadline scope(deadline);
      xrcunihandle<xthrowable> raised =
          raisedBy([&] { slow(zubJexClient::getInstance(name.c_str())); });
      errors[t] = raised ? descriptionOf(raised.get()) : "";
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) {
    SCOPED_TRACE(t);
    EXPECT_EQ(errors[t], t % 2 == 0 ? deadlineText(name) : "");
  }
  server.stop();
}

}  // namespace
