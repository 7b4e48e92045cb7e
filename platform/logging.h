// Logging of the base library: named areas with a level each, records formed only when
// the area's level admits them, and one sink that receives every record.
//
// Levels run from 0 (nothing) upward; a record of level L is written when the area's
// level is at least L. Areas start at level 0. The default sink writes records to
// standard error; a host (or a test) installs its own with SetSink.
#ifndef ZUBJEX_PLATFORM_LOGGING_H_
#define ZUBJEX_PLATFORM_LOGGING_H_

#include <atomic>
#include <functional>
#include <string>

#include "platform/export.h"
#include "platform/xstring.h"

struct btkLogRecord {
  std::string area;    // the area's name
  int level;
  std::string logger;  // the innermost active nested logger on the thread, or ""
  std::string text;
};

typedef std::function<void(const btkLogRecord&)> btkLogSink;

class ZUBPLATFORM_EXPORT btkLogManager {
 public:
  // The handle of the named area, made on first use and never freed; the same name
  // always gives the same handle. Thread-safe.
  static void* CreateArea(const char* name, const char* title);
  // True when a record of `level` in the area would be written. Cheap: one atomic load.
  static bool AreaIsLoggable(void* area, int level);
  static void SetAreaLevel(void* area, int level);
  // Replaces the sink (an empty function restores the default). Thread-safe; records
  // in flight may still reach the old sink.
  static void SetSink(btkLogSink sink);
};

// One record under construction; written to the sink when End is called or the stream
// is destroyed. Move-only.
class ZUBPLATFORM_EXPORT btkLogStream {
 public:
  btkLogStream(void* area, int level);
  btkLogStream(btkLogStream&& other) noexcept;
  btkLogStream(const btkLogStream&) = delete;
  ~btkLogStream() { End(); }
  btkLogStream& operator<<(const char* text);
  btkLogStream& operator<<(const xstring& text);
  void End();

 private:
  void* area_;
  int level_;
  bool open_;
  std::string text_;
};

// A stream for one record in the area at the level; form it only after
// AreaIsLoggable said yes.
ZUBPLATFORM_EXPORT btkLogStream btkLogGetOStream(void* area, int level);

// A nested logger: while active it names the records of its thread.
class ZUBPLATFORM_EXPORT btkLogger {
 public:
  virtual ~btkLogger();
  // Makes the logger the thread's current one until it is destroyed.
  virtual void Activate();
  // A new logger nested in the thread's current one; owned by the caller (normally
  // through a btkLocalLogger). `parent` is unused (null).
  static btkLogger* CreateNestedOnCurrent(const char* name, const char* title, void* parent);
  const std::string& name() const { return name_; }

 private:
  btkLogger(const char* name, btkLogger* outer);
  std::string name_;
  btkLogger* outer_;
  bool active_ = false;
};

// Owns a nested logger for a scope and deletes it at the end.
class ZUBPLATFORM_EXPORT btkLocalLogger {
 public:
  explicit btkLocalLogger(btkLogger* logger) : logger_(logger) {}
  btkLocalLogger(const btkLocalLogger&) = delete;
  btkLocalLogger& operator=(const btkLocalLogger&) = delete;
  ~btkLocalLogger() { delete logger_; }
  btkLogger* operator->() const { return logger_; }

 private:
  btkLogger* logger_;
};

#endif  // ZUBJEX_PLATFORM_LOGGING_H_
