// A scriptable in-memory transport, for tests of the library and of hosts' own code:
// it records every operation that its clients' transports receive (with the bytes of
// every request), serves scripted response bytes, and fails at any step on demand.
//
//   auto script = std::make_shared<zubJexTransportScript>();
//   script->queueResponse(responseBytes);
//   zubJexScriptedTransportFactory factory(script);
//   config.setJexTransportFactory(&factory);
//   ... make the call ...
//   EXPECT_EQ(script->operationNames(), "create open startOutput finishOutput startInput close");
//
// The script is shared by the factory and every transport it made (through
// std::shared_ptr), so a transport that the client pool deletes at unload never
// outlives what it uses. All operations of the script are thread-safe.
#ifndef ZUBJEX_CLIENT_SCRIPTED_TRANSPORT_H_
#define ZUBJEX_CLIENT_SCRIPTED_TRANSPORT_H_

#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "client/transport.h"
#include "platform/memory_streams.h"
#include "serialization/export.h"

// The operations that a scripted transport records; Create is the factory's.
enum class zubJexTransportOp {
  Create,
  Open,
  StartOutput,
  FinishOutput,
  StartInput,
  Close,
  Disconnect,
  ReportException,
};

// "create", "open", "startOutput", "finishOutput", "startInput", "close", "disconnect",
// "reportException".
ZUBJEX_EXPORT const char* zubJexTransportOpName(zubJexTransportOp op);

class ZUBJEX_EXPORT zubJexTransportScript {
 public:
  // Computes the response bytes for the bytes of a request; used when no queued
  // response is left. Called with no lock held, possibly from several threads at once.
  typedef std::function<std::string(const std::string& request)> Responder;

  zubJexTransportScript() = default;
  zubJexTransportScript(const zubJexTransportScript&) = delete;
  zubJexTransportScript& operator=(const zubJexTransportScript&) = delete;

  // ---- What the transports serve ----

  // Each startInput takes the next queued response; when none is queued, the
  // responder's answer to the last request; without a responder, no bytes at all (the
  // reader then fails with "unexpected end of stream").
  void queueResponse(std::string bytes);
  void setResponder(Responder responder);

  // ---- Failures, each for the next `times` uses of that step ----

  // The factory returns null.
  void failCreate(int times = 1);
  // startOutput or startInput returns a null stream (other operations are ignored).
  void returnNullStream(zubJexTransportOp op, int times = 1);
  // finishOutput returns `status` (0 done, 1 failed, 2 resend, others: done) instead of 0.
  void queueFinishStatus(int status, int times = 1);
  // The operation raises `error` (a new zubXException with `text` in the second form)
  // after recording itself. For Create the factory raises.
  void raiseFrom(zubJexTransportOp op, xrcunihandle<xthrowable> error, int times = 1);
  void raiseFrom(zubJexTransportOp op, const char* text, int times = 1);

  // ---- What happened ----

  // Every operation received, in order, by all transports of the script.
  std::vector<zubJexTransportOp> operations() const;
  // The same as names separated by single spaces ("create open startOutput ...").
  std::string operationNames() const;
  // The bytes of every finished request (one per finishOutput), in order.
  std::vector<std::string> requests() const;
  // The server names that open received.
  std::vector<std::string> openedWith() const;
  // The descriptions of the errors that reportException received.
  std::vector<std::string> reportedErrors() const;
  // How many times one transport was used by two threads at once (an operation entered
  // while another thread was inside one of its operations), or an exchange was started
  // before the previous one was closed. reportException does not count: it may run
  // while another thread already uses the transport. Always 0 for a correct client;
  // tests of concurrent callers check it.
  int overlaps() const;
  // Forgets the record (not the script of failures and responses).
  void clearRecord();

 private:
  friend class zubJexScriptedTransport;
  friend class zubJexScriptedTransportFactory;

  struct Raise {
    zubJexTransportOp op;
    xrcunihandle<xthrowable> error;
  };

  // Records `op`, then raises if a raise is scripted for it.
  void enter(zubJexTransportOp op);
  // True (and one use consumed) when the step is scripted to fail that way.
  bool takeNullStream(zubJexTransportOp op);
  bool takeFailCreate();
  int takeFinishStatus();
  void addRequest(const std::string& bytes);
  // The bytes to serve for `request`.
  std::string responseFor(const std::string& request);
  void addOpened(const std::string& name);
  void addReported(const std::string& text);
  void addOverlap();

  mutable std::mutex mutex;  // guards every field below
  std::vector<zubJexTransportOp> ops;
  std::vector<std::string> requestLog;
  std::vector<std::string> openLog;
  std::vector<std::string> reportLog;
  int overlapCount = 0;
  std::deque<std::string> responses;
  Responder responder;
  int createFailures = 0;
  std::deque<zubJexTransportOp> nullStreams;
  std::deque<int> finishStatuses;
  std::deque<Raise> raises;
};

// A transport that writes requests into memory and serves the script's responses.
class ZUBJEX_EXPORT zubJexScriptedTransport : public zubJexTransport {
 public:
  explicit zubJexScriptedTransport(std::shared_ptr<zubJexTransportScript> script);
  ~zubJexScriptedTransport() override;

  void open(xstring serverName) override;
  btkOStream* startOutput() override;
  int finishOutput() override;
  btkIStream* startInput() override;
  void close() override;
  void disconnect() override;
  void reportException(xrchandle<zubXSerialization> error) override;

 private:
  class Use;  // marks the calling thread as inside an operation
  void beginExchange();
  void endExchange();

  std::shared_ptr<zubJexTransportScript> script;
  btkMemOStream request;
  std::string lastRequest;
  std::string response;
  btkMemIStream input{nullptr, 0};
  // Guards the two fields below, which detect concurrent use.
  std::mutex exchangeMutex;
  bool inExchange = false;  // between startOutput and close
  std::thread::id user;     // the thread inside an operation; none when idle
};

// Makes scripted transports that share one script.
class ZUBJEX_EXPORT zubJexScriptedTransportFactory : public zubJexTransportFactory {
 public:
  explicit zubJexScriptedTransportFactory(std::shared_ptr<zubJexTransportScript> script);
  zubJexTransport* createTransport() override;
  const std::shared_ptr<zubJexTransportScript>& getScript() const { return script; }

 private:
  std::shared_ptr<zubJexTransportScript> script;
};

#endif  // ZUBJEX_CLIENT_SCRIPTED_TRANSPORT_H_
