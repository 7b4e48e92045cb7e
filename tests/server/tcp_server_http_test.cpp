// The TCP server speaking HTTP: calls posted on kept connections, HTTPS, the requests it
// refuses and with which status, the authorization hook, and the time and connection
// limits on HTTP connections.
#include "asio_test_client.h"

using namespace jex_test;

namespace {

zubJexTcpServerOptions httpOptions(zubJexTcpServerOptions options = zubJexTcpServerOptions()) {
  options.http.enabled = true;
  return options;
}

int sumIn(const http::response<http::string_body>& reply) {
  zubJexResponse answer;
  decodeResponse(reply.body().data(), reply.body().size(), answer);
  return answer.getObject().toInt();
}

TEST(TcpServer, HttpAnswersCallsPostedOnOneKeptConnection) {
  struct Case {
    const char* name;
    zubJexTcpServerOptions options;
  };
  const Case cases[] = {{"HTTP", httpOptions()}, {"HTTPS", httpOptions(tlsOptions(false))}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    TcpCalc calc(c.options);
    AsioClient client(calc.server.port(), {c.options.tls.enabled, "", ""});
    ASSERT_FALSE(client.setupError());
    for (int i = 0; i < 3; ++i) {
      http::response<http::string_body> reply;
      ASSERT_TRUE(client.request(post("/jex", addCall(i)), reply)) << i;
      EXPECT_EQ(reply.result(), http::status::ok);
      EXPECT_EQ(reply[http::field::content_type], "application/x-jex");
      EXPECT_EQ(sumIn(reply), i + 5);
      EXPECT_TRUE(reply.keep_alive());
    }
    http::response<http::string_body> reply;
    ASSERT_TRUE(client.request(post("/jex", callBytes("ICalc:add", true, {})), reply));
    EXPECT_EQ(reply.result(), http::status::no_content);
    EXPECT_EQ(calc.server.connectionCount(), 1);
  }
}

// Such a client waits for the interim answer before it sends its body.
TEST(TcpServer, HttpAnswersExpectContinueBeforeTheBody) {
  TcpCalc calc(httpOptions());
  AsioClient client(calc.server.port(), ClientSetup());
  const std::string body = addCall(7);
  client.send("POST /jex HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: " +
              std::to_string(body.size()) + "\r\n\r\n");
  http::response<http::string_body> reply;
  ASSERT_TRUE(client.readReply(reply));
  EXPECT_EQ(reply.result(), http::status::continue_);
  client.send(body);
  ASSERT_TRUE(client.readReply(reply));
  EXPECT_EQ(reply.result(), http::status::ok);
  EXPECT_EQ(sumIn(reply), 12);
}

TEST(TcpServer, HttpRefusesRequestsItCannotServe) {
  zubJexTcpServerOptions options = httpOptions();
  options.maxFrameSize = 1024;
  TcpCalc calc(options);
  struct Case {
    const char* name;
    http::request<http::string_body> request;
    http::status status;
    bool kept;  // whether the connection serves the next request
  };
  http::request<http::string_body> get = post("/jex", "");
  get.method(http::verb::get);
  const Case cases[] = {
      {"GET", get, http::status::method_not_allowed, true},
      {"unknown path", post("/other", addCall(1)), http::status::not_found, true},
      {"body above the frame limit", post("/jex", std::string(1025, 'x')),
       http::status::payload_too_large, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    AsioClient client(calc.server.port(), ClientSetup());
    http::response<http::string_body> reply;
    ASSERT_TRUE(client.request(c.request, reply));
    EXPECT_EQ(reply.result(), c.status);
    if (c.status == http::status::method_not_allowed) {
      EXPECT_EQ(reply[http::field::allow], "POST");
    }
    http::response<http::string_body> next;
    EXPECT_EQ(client.request(post("/jex", addCall(1)), next), c.kept);
  }
}

TEST(TcpServer, HttpAuthorizationHookAnswersForTheServer) {
  zubJexTcpServerOptions options = httpOptions();
  options.http.authorize = [](const std::string& authorization) {
    zubJexHttpAuthDecision decision;
    if (authorization.empty()) {
      decision.status = 401;
      decision.challenge = "Bearer realm=\"jex\"";
    } else if (authorization != "Bearer good") {
      decision.status = 403;
    }
    return decision;
  };
  TcpCalc calc(options);
  struct Case {
    const char* authorization;
    http::status status;
  };
  const Case cases[] = {{"", http::status::unauthorized},
                        {"Bearer bad", http::status::forbidden},
                        {"Bearer good", http::status::ok}};
  AsioClient client(calc.server.port(), ClientSetup());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.authorization);
    http::request<http::string_body> request = post("/jex", addCall(2));
    if (*c.authorization != '\0') request.set(http::field::authorization, c.authorization);
    http::response<http::string_body> reply;
    ASSERT_TRUE(client.request(request, reply));
    EXPECT_EQ(reply.result(), c.status);
    EXPECT_EQ(reply[http::field::www_authenticate],
              c.status == http::status::unauthorized ? "Bearer realm=\"jex\"" : "");
  }
}

TEST(TcpServer, HttpTimeLimitsCloseTheirConnections) {
  struct Case {
    const char* name;
    int zubJexTcpServerOptions::*limit;
    std::function<void(AsioClient&)> misbehave;
  };
  const Case cases[] = {
      {"header half sent", &zubJexTcpServerOptions::frameTimeoutMs,
       [](AsioClient& client) { client.send("POST /jex HTTP/1.1\r\nHost: x\r\n"); }},
      {"idle after a call", &zubJexTcpServerOptions::idleTimeoutMs,
       [](AsioClient& client) {
         http::response<http::string_body> reply;
         ASSERT_TRUE(client.request(post("/jex", addCall(1)), reply));
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    zubJexTcpServerOptions options = httpOptions();
    options.firstRequestTimeoutMs = options.frameTimeoutMs = options.idleTimeoutMs =
        options.writeTimeoutMs = 60000;
    options.*c.limit = 50;
    TcpCalc calc(options);
    AsioClient client(calc.server.port(), ClientSetup());
    c.misbehave(client);
    EXPECT_TRUE(client.closedByServer());
  }
}

// The victim is a connection that has sent nothing since it was admitted: one that has
// just been answered goes back to waiting only when the server has seen its reply
// written, which may come after the client has read it, so its place is not certain.
TEST(TcpServer, HttpMakesRoomByClosingTheConnectionIdleLongest) {
  zubJexTcpServerOptions options = httpOptions();
  options.maxConnections = 2;
  TcpCalc calc(options);
  http::response<http::string_body> reply;
  AsioClient first(calc.server.port(), ClientSetup());
  AsioClient second(calc.server.port(), ClientSetup());
  ASSERT_TRUE(second.request(post("/jex", addCall(1)), reply));
  AsioClient third(calc.server.port(), ClientSetup());
  ASSERT_TRUE(third.request(post("/jex", addCall(1)), reply));
  EXPECT_TRUE(first.closedByServer());
  EXPECT_TRUE(second.request(post("/jex", addCall(1)), reply));
}

}  // namespace
