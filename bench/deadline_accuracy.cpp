// How late a call's deadline fires at each step of the TCP transport: connecting to a
// server that does not answer, sending to one that does not read, waiting for a response
// that does not come, and receiving the rest of a response cut in the middle. Each step
// runs 20 calls with a 50 ms deadline against servers on 127.0.0.1 in this process, and
// reports the median and the largest lateness (target: within 10 ms).
//
//   bench_deadline_accuracy
//
// Exits 1 when a call ended otherwise than by its deadline.
#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "client/deadline.h"
#include "platform/exceptions.h"
#include "transport/frame.h"
#include "transport/frame_reader.h"
#include "transport/listener.h"
#include "transport/tcp_transport.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kCalls = 20;
constexpr milliseconds kDeadline(50);
const size_t kLargeRequest = 8u << 20;  // more than the socket buffers hold

// What the server does with each connection it accepts; it keeps them all open.
enum class Serve { kHold, kStall, kHalfFrame };

// Accepts up to kCalls connections on its own thread and serves each as told.
class StallingServer {
 public:
  explicit StallingServer(Serve serve) : listener_(zubTcpListener::listen("127.0.0.1", 0)) {
    thread_ = std::thread([this, serve] { run(serve); });
  }
  ~StallingServer() { thread_.join(); }
  std::string address() const { return address_; }

 private:
  void run(Serve serve) {
    zubJexFrameReader reader(kLargeRequest * 2);
    for (int i = 0; i < kCalls; ++i) {
      zubTcpSocket socket = listener_.accept(zubTcpDeadline::after(5000), -1);
      if (!socket.isOpen()) return;
      if (serve != Serve::kHold) {
        reader.reset();
        if (reader.read(socket, zubTcpDeadline::after(5000), 5000) != zubJexFrameReader::kFrame) {
          return;
        }
      }
      if (serve == Serve::kHalfFrame) {
        uint8_t half[14] = {0};
        zubJexEncodeFrameLength(100, half);
        socket.sendAll(half, sizeof(half), zubTcpDeadline::after(5000));
      }
      held_.push_back(std::move(socket));
    }
  }

  zubTcpListener listener_;
  const std::string address_ = listener_.address();
  std::vector<zubTcpSocket> held_;
  std::thread thread_;
};

// A listening socket on 127.0.0.1 whose accept queue is full: new connections wait.
class FullBacklog {
 public:
  FullBacklog() {
    fd_.reset(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof(a);
    if (::bind(fd_.get(), reinterpret_cast<sockaddr*>(&a), len) != 0 ||
        ::listen(fd_.get(), 0) != 0 ||
        ::getsockname(fd_.get(), reinterpret_cast<sockaddr*>(&a), &len) != 0) {
      return;
    }
    address_ = "127.0.0.1:" + std::to_string(ntohs(a.sin_port));
    for (int i = 0; i < 8 && !full_; ++i) {
      try {
        fillers_.push_back(zubTcpSocket::connect(address_, 300));
      } catch (xthrowable* t) {
        xadoptThrown(t);
        full_ = true;
      }
    }
  }
  bool full() const { return full_; }
  const std::string& address() const { return address_; }

 private:
  zubTcpFileDescriptor fd_;
  std::string address_;
  std::vector<zubTcpSocket> fillers_;
  bool full_ = false;
};

// One call under the deadline on a new transport; the lateness in microseconds, or -1
// when the call did not end by its deadline.
long LatenessUs(const std::string& server, const std::string& request) {
  zubJexTcpOptions options;
  options.connectTimeoutMs = 5000;
  options.ioTimeoutMs = 5000;
  zubJexTcpTransport transport(options);
  transport.open(server.c_str());
  zubJexDeadline deadline(kDeadline);
  const Clock::time_point due = zubJexDeadline::at();
  try {
    transport.startOutput()->Write(request.data(), request.size());
    transport.finishOutput();
    transport.startInput();
  } catch (const zubJexDeadlineExceeded&) {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - due).count();
  } catch (xthrowable* t) {
    xadoptThrown(t);
  }
  return -1;
}

bool Report(const char* step, const std::string& server, const std::string& request) {
  std::vector<long> late;
  for (int i = 0; i < kCalls; ++i) {
    long us = LatenessUs(server, request);
    if (us < 0) {
      std::printf("%-34s a call did not end by its deadline\n", step);
      return false;
    }
    late.push_back(us);
  }
  std::sort(late.begin(), late.end());
  std::printf("%-34s p50 %6.2f ms   max %6.2f ms   (%d calls, deadline %lld ms)\n", step,
              late[late.size() / 2] / 1000.0, late.back() / 1000.0, kCalls,
              static_cast<long long>(kDeadline.count()));
  return true;
}

}  // namespace

int main() {
  const std::string small(64, 's');
  const std::string large(kLargeRequest, 'l');
  bool ok = true;
  std::printf("How late the call deadline fires, by step (target: within 10 ms)\n");
  {
    FullBacklog backlog;
    if (backlog.full()) {
      ok &= Report("connect (accept queue full)", backlog.address(), small);
    } else {
      std::printf("%-34s skipped: the system answers beyond the backlog\n", "connect");
    }
  }
  {
    StallingServer server(Serve::kHold);
    ok &= Report("send (server does not read)", server.address(), large);
  }
  {
    StallingServer server(Serve::kStall);
    ok &= Report("wait for the response", server.address(), small);
  }
  {
    StallingServer server(Serve::kHalfFrame);
    ok &= Report("receive (half a frame)", server.address(), small);
  }
  return ok ? 0 : 1;
}
