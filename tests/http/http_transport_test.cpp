// The client's HTTP transport against scripted HTTP servers: calls and their answers,
// kept connections, HTTP errors, authentication, redirects, a proxy, and bodies beyond
// the limit; every failure leaves the client back in the pool.
#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>

#include "client/deadline.h"
#include "http_test_support.h"

using namespace jex_test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST(HttpTransport, CallsArePostsOfTheMessageOnOneKeptConnection) {
  std::vector<HttpRequest> seen;
  std::mutex mutex;
  TestHttpServer server([&](const HttpRequest& request) {
    std::lock_guard<std::mutex> lock(mutex);
    seen.push_back(request);
    return sumReply();
  });
  std::string name = useHttp(server.url());
  for (int i = 0; i < 3; ++i) EXPECT_EQ(callAdd(name).toInt(), 3);

  EXPECT_EQ(server.accepts(), 1);
  ASSERT_EQ(seen.size(), 3u);
  EXPECT_EQ(seen[0].method, "POST");
  EXPECT_EQ(seen[0].target, "/jex");
  EXPECT_EQ(seen[0].header("content-type"), "application/x-jex");
  EXPECT_EQ(seen[0].header("expect"), "");
  zubJexCall call;
  decodeCall(seen[2].body, call);
  EXPECT_EQ(std::string(call.getName().CastToCString()), "ICalc:add");
  EXPECT_EQ(call.getParamByName("b").toInt(), 2);
}

TEST(HttpTransport, AnswersWithoutABodyEndOneWayCallsAndFailCallsThatWaitForOne) {
  struct Case {
    const char* name;
    HttpReply reply;
    bool oneWay;
    const char* error;  // "%s": the server's URL; "" for none
  } cases[] = {
      {"204 to a one-way call", statusReply(204), true, ""},
      {"empty 200 to a one-way call", statusReply(200), true, ""},
      {"204 to a call", statusReply(204), false, "no response in the HTTP 204 from %s"},
      {"empty 200 to a call", statusReply(200), false, "no response in the HTTP 200 from %s"},
  };
  for (const Case& c : cases) {
    std::atomic<int> oneWayCalls{0};
    TestHttpServer server([&](const HttpRequest& request) {
      zubJexCall call;
      decodeCall(request.body, call);
      if (call.getIsAsync()) ++oneWayCalls;
      return c.reply;
    });
    std::string name = useHttp(server.url());
    CallOutcome outcome = outcomeOfCall(name, [&] {
      zubJexCall call;
      call.setName("ICalc:log");
      call.addParam("message", "hello");
      call.setIsAsync(c.oneWay);
      zubJexClient::getInstance(name.c_str())->makeVoidCall(&call);
    });
    if (*c.error == '\0') {
      EXPECT_EQ(outcome.error, "") << c.name;
    } else {
      EXPECT_THAT(outcome.error, HasSubstr(withName(c.error, name))) << c.name;
    }
    EXPECT_EQ(oneWayCalls, c.oneWay ? 1 : 0) << c.name;
    EXPECT_TRUE(outcome.clientFree) << c.name;
  }
}

TEST(HttpTransport, ErrorStatusesNameTheStatusAndTheUrlAndKeepTheConnection) {
  for (int status : {401, 403, 404, 500, 503}) {
    std::atomic<bool> failing{true};
    TestHttpServer server([&](const HttpRequest&) {
      HttpReply reply = failing ? statusReply(status) : sumReply();
      reply.body += "<html>error page</html>";
      if (!failing) reply = sumReply();
      return reply;
    });
    std::string name = useHttp(server.url());
    CallOutcome outcome = outcomeOfCall(name, [&] { callAdd(name); });
    EXPECT_EQ(outcome.error,
              "JEX Client Error: HTTP " + std::to_string(status) + " from " + name + ".");
    EXPECT_TRUE(outcome.clientFree) << status;
    failing = false;
    EXPECT_EQ(callAdd(name).toInt(), 3) << status;
    EXPECT_EQ(server.accepts(), 1) << status;
  }
}

TEST(HttpTransport, ExchangesThatBreakOffFailWithTheirCauseAndDropTheConnection) {
  struct Case {
    const char* name;
    HttpReply::Kind kind;
    const char* error;  // "%s": the server's URL
  } cases[] = {
      {"announced body above the limit", HttpReply::kHugeLength,
       "response from %s exceeds the limit of 65536 bytes"},
      {"endless chunked body", HttpReply::kEndless,
       "response from %s exceeds the limit of 65536 bytes"},
      {"server that never answers", HttpReply::kStall, "timed out waiting for %s"},
  };
  for (const Case& c : cases) {
    std::atomic<bool> failing{true};
    TestHttpServer server([&](const HttpRequest&) {
      HttpReply reply = sumReply();
      if (failing) reply.kind = c.kind;
      return reply;
    });
    zubJexHttpOptions options;
    options.maxResponseBytes = 64 * 1024;
    options.exchangeTimeoutMs = 300;
    std::string name = useHttp(server.url(), options);
    auto started = std::chrono::steady_clock::now();
    CallOutcome outcome = outcomeOfCall(name, [&] { callAdd(name); });
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5)) << c.name;
    EXPECT_THAT(outcome.error, HasSubstr(withName(c.error, name))) << c.name;
    EXPECT_TRUE(outcome.clientFree) << c.name;
    failing = false;
    EXPECT_EQ(callAdd(name).toInt(), 3) << c.name;
    EXPECT_EQ(server.accepts(), 2) << c.name;  // the broken connection was not reused
  }
}

TEST(HttpTransport, UnreachableServerFailsWithLibcurlsReason) {
  int port;
  {
    port = TestHttpServer([](const HttpRequest&) { return sumReply(); }).port();
  }
  std::string name = useHttp("http://127.0.0.1:" + std::to_string(port) + "/jex");
  CallOutcome outcome = outcomeOfCall(name, [&] { callAdd(name); });
  EXPECT_THAT(outcome.error, StartsWith("JEX Client Error: HTTP exchange with " + name +
                                        " failed: Failed to connect to 127.0.0.1 port"));
  EXPECT_TRUE(outcome.clientFree);
}

// The value of "Authorization" that a request must carry to be answered; 401 with the
// challenge otherwise.
HttpHandler requiring(const std::string& authorization, const std::string& challenge,
                      std::atomic<int>& refused) {
  return [=, &refused](const HttpRequest& request) {
    if (request.header("authorization") == authorization) return sumReply();
    ++refused;
    HttpReply reply = statusReply(401);
    reply.body = "<html>denied</html>";
    if (!challenge.empty()) reply.headers.emplace_back("WWW-Authenticate", challenge);
    return reply;
  };
}

TEST(HttpTransport, CredentialsAnswerTheServer) {
  const std::string basic = "Basic Y2FsYzpzM2NyZXQ=";  // calc:s3cret
  struct Case {
    const char* name;
    zubJexHttpAuthScheme scheme;
    const char* password;
    const char* bearerToken;
    const char* expected;  // what the server accepts
    int refusedFirstCall;  // 401s that the first call met
    bool fails;
  } cases[] = {
      {"Basic, sent with the first request", zubJexHttpAuthBasic, "s3cret", "", basic.c_str(), 0,
       false},
      {"negotiated after the server's challenge", zubJexHttpAuthAny, "s3cret", "", basic.c_str(), 1,
       false},
      {"bearer token", zubJexHttpAuthAny, "", "t0ken", "Bearer t0ken", 0, false},
      // libcurl tries once and gives the 401 back; the request written again meets the
      // same refusal, and then the call fails.
      {"wrong password", zubJexHttpAuthBasic, "wrong", "", basic.c_str(), 2, true},
  };
  for (const Case& c : cases) {
    std::atomic<int> refused{0};
    TestHttpServer server(requiring(c.expected, "Basic realm=\"calc\"", refused));
    zubJexHttpOptions options;
    if (*c.bearerToken == '\0') options.userName = "calc";
    options.password = c.password;
    options.authScheme = c.scheme;
    options.bearerToken = c.bearerToken;
    std::string name = useHttp(server.url(), options);
    CallOutcome outcome = outcomeOfCall(name, [&] { callAdd(name); });
    EXPECT_EQ(outcome.error, c.fails ? "JEX Client Error: HTTP 401 from " + name + "." : "")
        << c.name;
    EXPECT_EQ(refused, c.refusedFirstCall) << c.name;
    EXPECT_TRUE(outcome.clientFree) << c.name;
    if (c.fails) continue;
    EXPECT_EQ(callAdd(name).toInt(), 3) << c.name;
    EXPECT_EQ(refused, c.refusedFirstCall) << c.name << ": the scheme is remembered";
  }
}

TEST(HttpTransport, RefusedCredentialsMakeTheClientWriteTheRequestOnceMore) {
  // A server that refuses the first set of credentials it sees, as one that wants a
  // fresh nonce does; libcurl gives that 401 back, and the transport asks for the
  // request again.
  std::atomic<int> requests{0};
  TestHttpServer server([&](const HttpRequest& request) {
    if (requests++ == 0 || request.header("authorization").empty()) {
      HttpReply reply = statusReply(401);
      reply.headers.emplace_back("WWW-Authenticate", "Basic realm=\"calc\"");
      return reply;
    }
    return sumReply();
  });
  zubJexHttpOptions options;
  options.userName = "calc";
  options.password = "s3cret";
  options.authScheme = zubJexHttpAuthBasic;
  std::string name = useHttp(server.url(), options);
  EXPECT_EQ(callAdd(name).toInt(), 3);
  EXPECT_EQ(requests, 2);
}

TEST(HttpTransport, RedirectsAreFollowedWithTheRequest) {
  for (int status : {301, 302, 307, 308}) {
    std::vector<std::string> arrived;  // "<method> <path> <body size>"
    std::mutex mutex;
    TestHttpServer server([&](const HttpRequest& request) {
      std::lock_guard<std::mutex> lock(mutex);
      arrived.push_back(request.method + " " + request.target + " " +
                        std::to_string(request.body.size()));
      if (request.target != "/old") return sumReply();
      HttpReply reply = statusReply(status);
      reply.body = "<html>moved</html>";
      reply.headers.emplace_back("Location", "/jex");
      return reply;
    });
    std::string name = useHttp(server.url("/old"));
    EXPECT_EQ(callAdd(name).toInt(), 3) << status;
    ASSERT_EQ(arrived.size(), 2u) << status;
    std::string size = arrived[0].substr(arrived[0].rfind(' '));
    EXPECT_EQ(arrived[0], "POST /old" + size) << status;
    EXPECT_EQ(arrived[1], "POST /jex" + size) << status;
  }
}

TEST(HttpTransport, RedirectsInACircleEndAtTheLimit) {
  TestHttpServer server([](const HttpRequest&) {
    HttpReply reply = statusReply(307);
    reply.headers.emplace_back("Location", "/jex");
    return reply;
  });
  zubJexHttpOptions options;
  options.maxRedirects = 3;
  std::string name = useHttp(server.url(), options);
  CallOutcome outcome = outcomeOfCall(name, [&] { callAdd(name); });
  EXPECT_THAT(outcome.error, HasSubstr("HTTP exchange with " + name + " failed: Maximum (3)"));
  EXPECT_EQ(server.requests(), 4);
}

// The proxy answers itself: what matters is that the request reached it in the absolute
// form that names the origin, on one kept connection.
TEST(HttpTransport, ProxyFromTheEnvironmentOrTheOptions) {
  const std::string origin = "http://127.0.0.1:1/jex";  // never connected to
  for (bool fromEnvironment : {true, false}) {
    std::atomic<int> proxied{0};
    TestHttpServer proxy([&](const HttpRequest& request) {
      if (request.target == origin) ++proxied;
      return sumReply();
    });
    const std::string proxyUrl = "http://127.0.0.1:" + std::to_string(proxy.port());
    zubJexHttpOptions options;
    if (fromEnvironment) {
      ::setenv("http_proxy", proxyUrl.c_str(), 1);
    } else {
      options.proxy = proxyUrl;
    }
    std::string name = useHttp(origin, options);
    xany first = callAdd(name);
    xany second = callAdd(name);
    ::unsetenv("http_proxy");
    EXPECT_EQ(first.toInt(), 3);
    EXPECT_EQ(second.toInt(), 3);
    EXPECT_EQ(proxied, 2) << fromEnvironment;
    EXPECT_EQ(proxy.accepts(), 1) << fromEnvironment;
  }
}

TEST(HttpTransport, ReportedErrorsLeaveTheSessionAndFailuresDropIt) {
  std::atomic<bool> stall{false};
  TestHttpServer server([&](const HttpRequest&) {
    HttpReply reply = sumReply();
    if (stall) reply.kind = HttpReply::kStall;
    return reply;
  });
  zubJexHttpOptions options;
  options.exchangeTimeoutMs = 200;
  zubJexHttpTransport transport(options);
  transport.open(server.url().c_str());
  auto exchange = [&] {
    std::string call = callBytes("ICalc:add", false, {});
    transport.startOutput()->Write(call.data(), call.size());
    EXPECT_EQ(transport.finishOutput(), zubJexFinishDone);
    EXPECT_NE(transport.startInput(), nullptr);
    transport.close();
  };
  exchange();
  transport.reportException(xrchandle<zubXSerialization>());
  EXPECT_TRUE(transport.hasSession());
  exchange();
  EXPECT_EQ(server.accepts(), 1);
  stall = true;
  EXPECT_EQ(raisedText(exchange), "timed out waiting for " + server.url());
  transport.close();
  EXPECT_FALSE(transport.hasSession());
}

TEST(HttpTransport, TheCallsDeadlineEndsTheExchange) {
  struct Case {
    const char* name;
    int deadlineMs;
    int exchangeTimeoutMs;
    const char* error;  // "%s": the server's name
    int requests;       // that reached the server
  } cases[] = {
      {"stalling server, deadline first", 200, 10000,
       "JEX Client Error: JEX call to %s exceeded its deadline.", 1},
      {"deadline passed before the call", 0, 10000,
       "JEX Client Error: JEX call to %s exceeded its deadline.", 0},
      {"time-out of the options first", 10000, 200, "JEX Client Error: timed out waiting for %s.",
       1},
  };
  for (const Case& c : cases) {
    TestHttpServer server([](const HttpRequest&) {
      HttpReply reply;
      reply.kind = HttpReply::kStall;
      return reply;
    });
    zubJexHttpOptions options;
    options.exchangeTimeoutMs = c.exchangeTimeoutMs;
    std::string name = useHttp(server.url(), options);
    auto started = std::chrono::steady_clock::now();
    CallOutcome outcome = outcomeOfCall(name, [&] {
      zubJexDeadline deadline{std::chrono::milliseconds(c.deadlineMs)};
      callAdd(name);
    });
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(outcome.error, withName(c.error, name)) << c.name;
    EXPECT_EQ(server.requests(), c.requests) << c.name;
    EXPECT_TRUE(outcome.clientFree) << c.name;
  }
}

}  // namespace
