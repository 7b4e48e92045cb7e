#include "platform/logging.h"

#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace {

struct Area {
  std::string name;
  std::string title;
  std::atomic<int> level{0};
};

struct LogState {
  std::mutex mutex;  // guards areas and sink
  std::map<std::string, std::unique_ptr<Area>, std::less<>> areas;
  btkLogSink sink;
};

LogState& State() {
  static LogState* state = new LogState();  // never freed: records may come at exit
  return *state;
}

void DefaultSink(const btkLogRecord& r) {
  std::fprintf(stderr, "[%s:%d%s%s] %s\n", r.area.c_str(), r.level, r.logger.empty() ? "" : " ",
               r.logger.c_str(), r.text.c_str());
}

thread_local btkLogger* currentLogger = nullptr;

}  // namespace

void* btkLogManager::CreateArea(const char* name, const char* title) {
  LogState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  std::unique_ptr<Area>& a = s.areas[name];
  if (!a) {
    a = std::make_unique<Area>();
    a->name = name;
    a->title = title == nullptr ? "" : title;
  }
  return a.get();
}

bool btkLogManager::AreaIsLoggable(void* area, int level) {
  return area != nullptr &&
         static_cast<Area*>(area)->level.load(std::memory_order_relaxed) >= level;
}

void btkLogManager::SetAreaLevel(void* area, int level) {
  if (area != nullptr) static_cast<Area*>(area)->level.store(level, std::memory_order_relaxed);
}

void btkLogManager::SetSink(btkLogSink sink) {
  LogState& s = State();
  std::lock_guard<std::mutex> lock(s.mutex);
  s.sink = std::move(sink);
}

btkLogStream::btkLogStream(void* area, int level) : area_(area), level_(level), open_(true) {}

btkLogStream::btkLogStream(btkLogStream&& other) noexcept
    : area_(other.area_), level_(other.level_), open_(other.open_), text_(std::move(other.text_)) {
  other.open_ = false;
}

btkLogStream& btkLogStream::operator<<(const char* text) {
  if (text != nullptr) text_ += text;
  return *this;
}

btkLogStream& btkLogStream::operator<<(const xstring& text) {
  text_.append(text.CastToCString(), text.GetMBSize());
  return *this;
}

void btkLogStream::End() {
  if (!open_) return;
  open_ = false;
  btkLogRecord record{area_ != nullptr ? static_cast<Area*>(area_)->name : std::string(), level_,
                      currentLogger != nullptr ? currentLogger->name() : std::string(),
                      std::move(text_)};
  btkLogSink sink;
  {
    LogState& s = State();
    std::lock_guard<std::mutex> lock(s.mutex);
    sink = s.sink;
  }
  if (sink) {
    sink(record);
  } else {
    DefaultSink(record);
  }
}

btkLogStream btkLogGetOStream(void* area, int level) { return btkLogStream(area, level); }

btkLogger::btkLogger(const char* name, btkLogger* outer)
    : name_(name == nullptr ? "" : name), outer_(outer) {}

btkLogger::~btkLogger() {
  if (active_ && currentLogger == this) currentLogger = outer_;
}

void btkLogger::Activate() {
  active_ = true;
  currentLogger = this;
}

btkLogger* btkLogger::CreateNestedOnCurrent(const char* name, const char*, void*) {
  return new btkLogger(name, currentLogger);
}
