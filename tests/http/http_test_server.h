// A scriptable HTTP/1.1 server on 127.0.0.1 for the HTTP transport's tests. Each
// connection has a thread of its own; every request
// is answered by a handler that the test gives.
#ifndef ZUBJEX_TESTS_HTTP_HTTP_TEST_SERVER_H_
#define ZUBJEX_TESTS_HTTP_HTTP_TEST_SERVER_H_

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace jex_test {

struct HttpRequest {
  std::string method;
  std::string target;                          // as sent: a path, or a whole URL to a proxy
  std::map<std::string, std::string> headers;  // names in lower case
  std::string body;

  std::string header(const std::string& name) const {
    auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
  }
};

struct HttpReply {
  enum Kind {
    kNormal,      // status, headers and body as given
    kStall,       // answers nothing; holds the connection until the server stops (10 s at most)
    kEndless,     // 200 with a chunked body that never ends (until the client goes, 1 GiB at most)
    kHugeLength,  // 200 announcing a 1 GiB body, then sending it (until the client goes)
  };
  int status = 200;
  std::string body;
  std::vector<std::pair<std::string, std::string>> headers;
  Kind kind = kNormal;
  bool close = false;  // closes the connection after the reply
};

typedef std::function<HttpReply(const HttpRequest&)> HttpHandler;

class TestHttpServer {
 public:
  // Listens on 127.0.0.1 and a free port; `handler` runs on the connections' threads.
  explicit TestHttpServer(HttpHandler handler);
  // Stops: shuts every connection down, and joins every thread.
  ~TestHttpServer();
  TestHttpServer(const TestHttpServer&) = delete;
  TestHttpServer& operator=(const TestHttpServer&) = delete;

  int port() const { return port_; }
  std::string url(const std::string& path = "/jex") const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
  }
  int accepts() const { return accepts_; }
  int requests() const { return requests_; }

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
  int port_ = 0;
  std::atomic<int> accepts_{0};
  std::atomic<int> requests_{0};
};

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_HTTP_HTTP_TEST_SERVER_H_
