// zubjex_demo: a host application making remote calls to a calculator server.
//
//   zubjex_demo              the server listens on 127.0.0.1 (a free port) in this process
//   zubjex_demo --in-memory  the server is reached through an in-memory transport
//   zubjex_demo --http       the server in this process takes calls as HTTP POSTs
//   zubjex_demo --tls        the server in this process speaks TLS, both sides showing
//                            certificates made for this run
//   zubjex_demo HOST:PORT    the server runs elsewhere (zubjex_calc_server, for instance)
//
// Each step says what the host does and what comes back. The server side is the
// reference dispatcher serving the calculator example ("ICalc", generated from
// examples/calc/calc.jex). Every answer's kind is checked before it is used (the generated
// proxy does it for typed calls), so a server that answers with something else (one
// elsewhere may answer anything) ends the demo with a message, never an abort.
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "client/jex_client.h"
#include "client/transport.h"
#include "examples/calc/calc_service.h"
#include "messages/jex_call.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/loopback_transport.h"
#include "server/tcp_server.h"
#include "test_support/test_certificates.h"
#include "transport/address.h"
#include "transport/tcp_transport.h"
#ifdef ZUBJEX_DEMO_HTTP
#include "http/http_transport.h"
#endif

namespace {

// ---- The connection to the server: the only place that knows which one ----

// A running server and the transport factory that reaches it.
class Connection {
 public:
  virtual ~Connection() = default;
  // The name under which the host knows the server (the transport's address).
  virtual std::string serverName() const = 0;
  virtual zubJexTransportFactory& factory() = 0;
  virtual std::string describe() const = 0;
  // True when the server runs in this process, so the demo can look at its objects.
  virtual bool inProcess() const { return true; }
};

class InMemoryConnection : public Connection {
 public:
  explicit InMemoryConnection(zubJexDispatcher& dispatcher) : factory_(dispatcher) {}
  std::string serverName() const override { return "calc-in-memory"; }
  zubJexTransportFactory& factory() override { return factory_; }
  std::string describe() const override {
    return "an in-memory transport that hands each request to the server in this process";
  }

 private:
  zubJexLoopbackTransportFactory factory_;
};

class TcpConnection : public Connection {
 public:
  explicit TcpConnection(zubJexDispatcher& dispatcher) : server_(dispatcher) { server_.start(); }
  std::string serverName() const override { return server_.address(); }
  zubJexTransportFactory& factory() override { return factory_; }
  std::string describe() const override {
    return "TCP: the server listens on " + server_.address() + " in this process";
  }

 private:
  zubJexTcpServer server_;
  zubJexTcpTransportFactory factory_;
};

class RemoteTcpConnection : public Connection {
 public:
  explicit RemoteTcpConnection(std::string address) : address_(std::move(address)) {}
  std::string serverName() const override { return address_; }
  zubJexTransportFactory& factory() override { return factory_; }
  std::string describe() const override { return "TCP: a server running elsewhere"; }
  bool inProcess() const override { return false; }

 private:
  std::string address_;
  zubJexTcpTransportFactory factory_;
};

// The same server in this process speaking TLS and asking for the client's certificate,
// and the TCP transport speaking TLS. The certificates are throw-away ones made for this
// run in a temporary folder: a CA, the server's for 127.0.0.1, and the client's.
class TlsConnection : public Connection {
 public:
  explicit TlsConnection(zubJexDispatcher& dispatcher)
      : server_(dispatcher, serverOptions()), factory_(clientOptions()) {
    server_.start();
  }
  std::string serverName() const override { return server_.address(); }
  zubJexTransportFactory& factory() override { return factory_; }
  std::string describe() const override {
    return "TLS: frames inside TLS to " + server_.address() +
           " in this process; the host checks the server's certificate and shows its own";
  }

 private:
  static zubJexTcpServerOptions serverOptions() {
    const jex_test::TestCertificates& certs = jex_test::testCertificates();
    zubJexTcpServerOptions options;
    options.tls.enabled = true;
    options.tls.certificateChainFile = certs.serverCert;
    options.tls.privateKeyFile = certs.serverKey;
    options.tls.clientCaFile = certs.caCert;
    return options;
  }
  static zubJexTcpOptions clientOptions() {
    const jex_test::TestCertificates& certs = jex_test::testCertificates();
    zubJexTcpOptions options;
    options.tls.enabled = true;
    options.tls.caFile = certs.caCert;
    options.tls.certificateChainFile = certs.clientCert;
    options.tls.privateKeyFile = certs.clientKey;
    return options;
  }

  zubJexTcpServer server_;
  zubJexTcpTransportFactory factory_;
};

#ifdef ZUBJEX_DEMO_HTTP
// The same server in this process taking each call as the body of an HTTP POST, and
// the client's HTTP transport.
class HttpConnection : public Connection {
 public:
  explicit HttpConnection(zubJexDispatcher& dispatcher) : server_(dispatcher, httpOptions()) {
    server_.start();
  }
  std::string serverName() const override {
    return "http://" + server_.address() + httpOptions().http.path;
  }
  zubJexTransportFactory& factory() override { return factory_; }
  std::string describe() const override {
    return "HTTP: each call is a POST to " + serverName() + ", served in this process";
  }

 private:
  static zubJexTcpServerOptions httpOptions() {
    zubJexTcpServerOptions options;
    options.http.enabled = true;
    return options;
  }

  zubJexTcpServer server_;
  zubJexHttpTransportFactory factory_;
};
#endif

// No argument: a TCP server in this process; "--in-memory"; "--tls"; "--http"; or the
// server's host:port. Null when the argument is none of these.
std::unique_ptr<Connection> connect(zubJexDispatcher& dispatcher, int argc, char** argv) {
  if (argc < 2) return std::make_unique<TcpConnection>(dispatcher);
  if (std::strcmp(argv[1], "--in-memory") == 0) {
    return std::make_unique<InMemoryConnection>(dispatcher);
  }
  if (std::strcmp(argv[1], "--tls") == 0) return std::make_unique<TlsConnection>(dispatcher);
#ifdef ZUBJEX_DEMO_HTTP
  if (std::strcmp(argv[1], "--http") == 0) return std::make_unique<HttpConnection>(dispatcher);
#endif
  zubTcpAddress address;
  if (!zubTcpParseAddress(argv[1], address)) return nullptr;
  return std::make_unique<RemoteTcpConnection>(argv[1]);
}

// ---- The host ----

xrchandle<xanysequence> values(std::initializer_list<xany> items) {
  xrchandle<xanysequence> seq(xanysequence::create());
  for (const xany& v : items) seq->append(v);
  return seq;
}

void step(int n, const char* title) { std::cout << "\n" << n << ". " << title << std::endl; }

void say(const std::string& text) { std::cout << "   " << text << std::endl; }

std::string text(const xstring& s) { return std::string(s.CastToCString(), s.GetMBSize()); }

// Runs `call`, which the demo expects to fail, and tells what the host caught.
template <class F>
void expectFailure(F call) {
  try {
    call();
    say("(unexpected: the call succeeded)");
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    std::cout.flush();
    if (CalcError* error = CalcError::softcast(caught.get())) {
      say("The host caught the server's own exception object, a CalcError: \"" +
          text(error->getDescription()) + "\"");
      return;
    }
    zubXException* error = zubXException::softcast(caught.get());
    say("The host caught a " + text(caught->getZubTypeName()) + ": \"" +
        (error ? text(error->getDescription()) : std::string("?")) + "\"");
    if (error != nullptr && error->getCause()) {
      say("Its cause, the fault that the server sent: \"" +
          text(error->getCause()->getDescription()) + "\"");
    }
  }
}

void runHost(const std::string& server) {
  const char* name = server.c_str();

  step(2, "The root object: the first proxy, made locally without any exchange");
  zubJexClient* client = zubJexClient::getInstance(name);
  xrcunihandle<xobject> root = client->getRootObject("ICalc", kCalcRootId);
  zubJexClient::freeInstance(client);  // getRootObject keeps the client; give it back
  xrchandle<ICalcProxy> calc(ICalcProxy::softcast(root.get()));
  say("getRootObject(\"ICalc\", \"" + std::string(kCalcRootId) + "\") gave a proxy of type " +
      text(root->getZubTypeName()) + ", bound to " + text(calc->getServerUrl()) + ", id \"" +
      text(calc->getProxyId()) + "\"");

  step(3, "A typed call: calc->add(2, 3) through the proxy generated from calc.jex");
  say("The proxy built the call \"ICalc:add\"; the server answered " +
      std::to_string(calc->add(2, 3)));

  step(4, "A prepared call: the host fills the call record itself");
  zubJexCall call;
  call.setName("ICalc:divide");
  call.setReturnType(zubGetRtti_int());
  call.addParam("a", xint(84));
  call.addParam("b", xint(2));
  xany quotient = zubJexClient::getInstance(name)->makeCall(&call);
  say("Without a \"this\" parameter the call goes to the server's root calculator: "
      "84 / 2 = " +
      (quotient.getKind() == xany_int ? std::to_string(quotient.toInt()) : "(not an int)"));

  step(5, "A one-way call: calc->log(\"hello\") sends the request and reads no response");
  calc->log("hello from the demo");
  say("log returned as soon as the request was sent");

  step(6, "A server fault that carries an exception object: calc->divide(1, 0)");
  say("(the library also writes one line about each failure to standard error)");
  expectFailure([&] { calc->divide(1, 0); });

  step(7, "A server fault without an exception object: a method the server does not have");
  expectFailure([&] {
    zubJexCall unknown;
    unknown.setName("ICalc:power");
    unknown.setReturnType(zubGetRtti_int());
    unknown.addParam("a", xint(2));
    zubJexClient::getInstance(name)->makeCall(&unknown);
  });

  step(8,
       "A failure the client detects itself: a call by names of an interface the host "
       "never declared");
  expectFailure(
      [&] { zubJexClient::getInstance(name)->makeCall("IWeather", "forecast", values({})); });

  step(9, "A proxy that the server returned: calc->createChild(\"child\"), then a call on it");
  xrchandle<ICalcProxy> child = calc->createChild("child");
  say("The server returned a new calculator; the host holds it as a proxy with id \"" +
      text(child->getProxyId()) + "\"");
  say("Calling getName on that proxy reaches the child on the server: \"" + child->getName() +
      "\"");
}

}  // namespace

int main(int argc, char** argv) {
  calcRegisterTypes();

  zubJexDispatcher dispatcher;
  CalcService* rootService = new CalcService("root");
  calcServe(dispatcher, rootService);
  std::unique_ptr<Connection> connection = connect(dispatcher, argc, argv);
  if (!connection) {
    std::cerr << "usage: zubjex_demo [--in-memory | --tls | --http | HOST:PORT]\n";
    return 2;
  }
  zubJexNoHostObjectsMap hostObjects;

  step(1, "Setting up: one configuration and one proxy map per server");
  zubJexConfig config;
  config.setJexTransportFactory(&connection->factory());
  zubJexClient::setServerConfig(connection->serverName().c_str(), config);
  zubJexClient::setServerProxyMap(connection->serverName().c_str(), &hostObjects);
  say("Server \"" + connection->serverName() + "\", reached through " + connection->describe());

  try {
    runHost(connection->serverName());
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    zubXException* e = zubXException::softcast(caught.get());
    std::cout << "\nThe demo failed: " << (e ? text(e->getDescription()) : "?") << std::endl;
    return 1;
  }

  if (!connection->inProcess()) {
    std::cout << "\nDone.\n";
    return 0;
  }
  bool logged = rootService->waitForLogged(1, 5000);
  std::cout << "\nThe server's root calculator logged: "
            << (logged ? rootService->loggedMessages().front() : std::string("(nothing)"))
            << "\nDone.\n";
  return 0;
}
