#include "client/scripted_transport.h"

#include <utility>

#include "platform/exceptions.h"

namespace {

// Takes one use of the first scripted entry matching `match`; true when there was one.
template <class T, class Match>
bool takeFirst(std::deque<T>& queue, Match match, T* taken = nullptr) {
  for (auto it = queue.begin(); it != queue.end(); ++it) {
    if (match(*it)) {
      if (taken != nullptr) *taken = std::move(*it);
      queue.erase(it);
      return true;
    }
  }
  return false;
}

}  // namespace

const char* zubJexTransportOpName(zubJexTransportOp op) {
  switch (op) {
    case zubJexTransportOp::Create:
      return "create";
    case zubJexTransportOp::Open:
      return "open";
    case zubJexTransportOp::StartOutput:
      return "startOutput";
    case zubJexTransportOp::FinishOutput:
      return "finishOutput";
    case zubJexTransportOp::StartInput:
      return "startInput";
    case zubJexTransportOp::Close:
      return "close";
    case zubJexTransportOp::Disconnect:
      return "disconnect";
    case zubJexTransportOp::ReportException:
      return "reportException";
  }
  return "?";
}

// ---- zubJexTransportScript ----

void zubJexTransportScript::queueResponse(std::string bytes) {
  std::lock_guard<std::mutex> lock(mutex);
  responses.push_back(std::move(bytes));
}

void zubJexTransportScript::setResponder(Responder r) {
  std::lock_guard<std::mutex> lock(mutex);
  responder = std::move(r);
}

void zubJexTransportScript::failCreate(int times) {
  std::lock_guard<std::mutex> lock(mutex);
  createFailures += times;
}

void zubJexTransportScript::returnNullStream(zubJexTransportOp op, int times) {
  std::lock_guard<std::mutex> lock(mutex);
  for (int i = 0; i < times; ++i) nullStreams.push_back(op);
}

void zubJexTransportScript::queueFinishStatus(int status, int times) {
  std::lock_guard<std::mutex> lock(mutex);
  for (int i = 0; i < times; ++i) finishStatuses.push_back(status);
}

void zubJexTransportScript::raiseFrom(zubJexTransportOp op, xrcunihandle<xthrowable> error,
                                      int times) {
  std::lock_guard<std::mutex> lock(mutex);
  for (int i = 0; i < times; ++i) raises.push_back({op, error});
}

void zubJexTransportScript::raiseFrom(zubJexTransportOp op, const char* text, int times) {
  for (int i = 0; i < times; ++i) raiseFrom(op, xrcunihandle<xthrowable>(new zubXException(text)));
}

std::vector<zubJexTransportOp> zubJexTransportScript::operations() const {
  std::lock_guard<std::mutex> lock(mutex);
  return ops;
}

std::string zubJexTransportScript::operationNames() const {
  std::string names;
  for (zubJexTransportOp op : operations()) {
    if (!names.empty()) names += ' ';
    names += zubJexTransportOpName(op);
  }
  return names;
}

std::vector<std::string> zubJexTransportScript::requests() const {
  std::lock_guard<std::mutex> lock(mutex);
  return requestLog;
}

std::vector<std::string> zubJexTransportScript::openedWith() const {
  std::lock_guard<std::mutex> lock(mutex);
  return openLog;
}

std::vector<std::string> zubJexTransportScript::reportedErrors() const {
  std::lock_guard<std::mutex> lock(mutex);
  return reportLog;
}

int zubJexTransportScript::overlaps() const {
  std::lock_guard<std::mutex> lock(mutex);
  return overlapCount;
}

void zubJexTransportScript::clearRecord() {
  std::lock_guard<std::mutex> lock(mutex);
  ops.clear();
  requestLog.clear();
  openLog.clear();
  reportLog.clear();
  overlapCount = 0;
}

void zubJexTransportScript::enter(zubJexTransportOp op) {
  Raise raise{op, xrcunihandle<xthrowable>()};
  {
    std::lock_guard<std::mutex> lock(mutex);
    ops.push_back(op);
    if (!takeFirst(
            raises, [op](const Raise& r) { return r.op == op; }, &raise))
      return;
  }
  xthrow(raise.error);
}

bool zubJexTransportScript::takeNullStream(zubJexTransportOp op) {
  std::lock_guard<std::mutex> lock(mutex);
  return takeFirst(nullStreams, [op](zubJexTransportOp o) { return o == op; });
}

bool zubJexTransportScript::takeFailCreate() {
  std::lock_guard<std::mutex> lock(mutex);
  if (createFailures == 0) return false;
  --createFailures;
  return true;
}

int zubJexTransportScript::takeFinishStatus() {
  std::lock_guard<std::mutex> lock(mutex);
  if (finishStatuses.empty()) return zubJexFinishDone;
  int status = finishStatuses.front();
  finishStatuses.pop_front();
  return status;
}

void zubJexTransportScript::addRequest(const std::string& bytes) {
  std::lock_guard<std::mutex> lock(mutex);
  requestLog.push_back(bytes);
}

std::string zubJexTransportScript::responseFor(const std::string& request) {
  Responder answer;
  {
    std::lock_guard<std::mutex> lock(mutex);
    if (!responses.empty()) {
      std::string bytes = std::move(responses.front());
      responses.pop_front();
      return bytes;
    }
    answer = responder;
  }
  return answer ? answer(request) : std::string();
}

void zubJexTransportScript::addOpened(const std::string& name) {
  std::lock_guard<std::mutex> lock(mutex);
  openLog.push_back(name);
}

void zubJexTransportScript::addReported(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex);
  reportLog.push_back(text);
}

void zubJexTransportScript::addOverlap() {
  std::lock_guard<std::mutex> lock(mutex);
  ++overlapCount;
}

// ---- zubJexScriptedTransport ----

class zubJexScriptedTransport::Use {
 public:
  explicit Use(zubJexScriptedTransport& transport) : transport_(transport) {
    std::lock_guard<std::mutex> lock(transport_.exchangeMutex);
    const std::thread::id self = std::this_thread::get_id();
    if (transport_.user != std::thread::id() && transport_.user != self) {
      transport_.script->addOverlap();
      return;
    }
    transport_.user = self;
    owner_ = true;
  }
  ~Use() {
    if (!owner_) return;
    std::lock_guard<std::mutex> lock(transport_.exchangeMutex);
    transport_.user = std::thread::id();
  }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

 private:
  zubJexScriptedTransport& transport_;
  bool owner_ = false;
};

zubJexScriptedTransport::zubJexScriptedTransport(std::shared_ptr<zubJexTransportScript> s)
    : script(std::move(s)) {}

zubJexScriptedTransport::~zubJexScriptedTransport() = default;

void zubJexScriptedTransport::open(xstring serverName) {
  Use use(*this);
  script->addOpened(std::string(serverName.CastToCString(), serverName.GetMBSize()));
  script->enter(zubJexTransportOp::Open);
}

btkOStream* zubJexScriptedTransport::startOutput() {
  Use use(*this);
  beginExchange();
  script->enter(zubJexTransportOp::StartOutput);
  if (script->takeNullStream(zubJexTransportOp::StartOutput)) return nullptr;
  request.Clear();
  return &request;
}

int zubJexScriptedTransport::finishOutput() {
  Use use(*this);
  lastRequest = request.str();
  script->addRequest(lastRequest);
  script->enter(zubJexTransportOp::FinishOutput);
  return script->takeFinishStatus();
}

btkIStream* zubJexScriptedTransport::startInput() {
  Use use(*this);
  script->enter(zubJexTransportOp::StartInput);
  if (script->takeNullStream(zubJexTransportOp::StartInput)) return nullptr;
  response = script->responseFor(lastRequest);
  input.Reset(response.data(), response.size());
  return &input;
}

void zubJexScriptedTransport::close() {
  Use use(*this);
  endExchange();
  script->enter(zubJexTransportOp::Close);
}

void zubJexScriptedTransport::disconnect() {
  Use use(*this);
  script->enter(zubJexTransportOp::Disconnect);
}

void zubJexScriptedTransport::reportException(xrchandle<zubXSerialization> error) {
  xstring text = error ? error->getDescription() : xstring();
  script->addReported(std::string(text.CastToCString(), text.GetMBSize()));
  script->enter(zubJexTransportOp::ReportException);
}

void zubJexScriptedTransport::beginExchange() {
  std::lock_guard<std::mutex> lock(exchangeMutex);
  if (inExchange) script->addOverlap();
  inExchange = true;
}

void zubJexScriptedTransport::endExchange() {
  std::lock_guard<std::mutex> lock(exchangeMutex);
  inExchange = false;
}

// ---- zubJexScriptedTransportFactory ----

zubJexScriptedTransportFactory::zubJexScriptedTransportFactory(
    std::shared_ptr<zubJexTransportScript> s)
    : script(std::move(s)) {}

zubJexTransport* zubJexScriptedTransportFactory::createTransport() {
  script->enter(zubJexTransportOp::Create);
  if (script->takeFailCreate()) return nullptr;
  return new zubJexScriptedTransport(script);
}
