// The client's transport over HTTP and HTTPS, on libcurl: one POST per request.
//
//   zubJexHttpOptions options;
//   options.userName = "calc";
//   options.password = secret;
//   zubJexHttpTransportFactory factory(options);   // outlives every client using it
//   zubJexConfig config;
//   config.setJexTransportFactory(&factory);
//   zubJexClient::setServerConfig("https://calc.example/jex", config);
#ifndef ZUBJEX_HTTP_HTTP_TRANSPORT_H_
#define ZUBJEX_HTTP_HTTP_TRANSPORT_H_

#include <memory>
#include <string>

#include "client/transport.h"
#include "http/export.h"
#include "http/http_options.h"
#include "platform/memory_streams.h"

class zubHttpSession;

// A transport to the server whose URL is the server name ("http://host:port/path",
// "https://..."). Each request is the body of one POST with the content type
// "application/x-jex"; the body of a 2xx answer is the response. A 204, or a 2xx with
// an empty body, answers a one-way call; for a call that waits for a response it fails
// the call with "no response in the HTTP <status> from <url>".
//
// The request goes out in finishOutput, once the body is complete, and the whole
// response (at most options.maxResponseBytes) has arrived when finishOutput returns.
// Connections are kept by the transport's one libcurl handle from exchange to exchange
// and reused; libcurl makes a new one when the server has closed the old. An exchange
// that failed (anything but a whole HTTP response) drops the handle with its
// connections, so that nothing of it reaches the next exchange. Redirects, proxies,
// TLS and authentication are as zubJexHttpOptions says.
//
// finishOutput answers 2 (the client writes the request again) in one case only: the
// final answer is a 401 whose challenge names a scheme that the configured credentials
// can answer, and this request has not been sent again already. libcurl answers a
// challenge by itself whenever it can, resending the body from memory (a Digest or NTLM
// round included); it gives a 401 back when the credentials it sent were refused, for
// instance by a server that wants a fresh nonce or a new handshake on the connection.
// The request written again goes out once more on the same handle, with what the first
// round negotiated; a second 401 fails the call.
//
// Failures are raised as zubXExceptions naming the URL: "HTTP 404 from
// http://127.0.0.1:8080/jex", "timed out waiting for <url>", "response from <url>
// exceeds the limit of <n> bytes", "HTTP exchange with <url> failed: <libcurl's
// reason>". When the call's deadline (client/deadline.h) is what ended the exchange,
// or had passed before it began, the deadline's own error is raised instead. Used by
// one thread at a time, like the client that owns it.
//
// libcurl runs without signals (its time-outs must not interrupt other threads), so it
// does not ignore SIGPIPE on the host's behalf: a host that speaks HTTPS to servers that
// may close a connection while a request is being sent should ignore SIGPIPE.
class ZUBJEX_HTTP_EXPORT zubJexHttpTransport : public zubJexTransport {
 public:
  explicit zubJexHttpTransport(const zubJexHttpOptions& options);
  ~zubJexHttpTransport() override;

  // Stores the URL; connects nothing yet.
  void open(xstring serverName) override;
  // A stream that collects the request; never null.
  btkOStream* startOutput() override;
  // Sends the request and waits for the whole response; returns 0, or 2 as described
  // above, or raises.
  int finishOutput() override;
  // A stream over the response body, valid until close. Raises when the answer carried
  // no response; null only when no request was answered.
  btkIStream* startInput() override;
  // Ends the exchange; drops the connections after a failed one, and gives back a
  // response buffer grown beyond options.keptResponseBuffer.
  void close() override;
  void disconnect() override;
  // Does nothing: close has already dropped what the failure spoilt, and by now another
  // thread may be using this transport.
  void reportException(xrchandle<zubXSerialization> error) override;

  // True while the transport holds a libcurl handle (and maybe connections); for tests
  // and diagnostics.
  bool hasSession() const { return session_ != nullptr; }

 private:
  const zubJexHttpOptions options_;
  std::string url_;
  std::unique_ptr<zubHttpSession> session_;  // made at the first exchange
  btkMemOStream request_;
  std::string response_;
  btkMemIStream responseStream_{nullptr, 0};
  long status_ = 0;  // of the exchange's answer; 0 before it came
  // False from the moment the request starts out until the whole response is in.
  bool clean_ = true;
  bool resendAsked_ = false;  // finishOutput answered 2 in this exchange
  bool resending_ = false;    // this exchange carries a request written again
};

// Makes zubJexHttpTransports with the options given at construction. Owned by the
// host, which keeps it alive while clients may make their first call; createTransport
// is safe from several threads at once.
class ZUBJEX_HTTP_EXPORT zubJexHttpTransportFactory : public zubJexTransportFactory {
 public:
  explicit zubJexHttpTransportFactory(const zubJexHttpOptions& options = zubJexHttpOptions());
  zubJexTransport* createTransport() override;
  const zubJexHttpOptions& options() const { return options_; }

 private:
  const zubJexHttpOptions options_;
};

#endif  // ZUBJEX_HTTP_HTTP_TRANSPORT_H_
