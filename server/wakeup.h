// A signal that wakes every thread waiting in poll at once: the read end of a pipe
// stays readable once signalled.
#ifndef ZUBJEX_SERVER_WAKEUP_H_
#define ZUBJEX_SERVER_WAKEUP_H_

#include "server/export.h"

class ZUBJEX_SERVER_EXPORT zubJexWakeup {
 public:
  // Raises a zubXException when the pipe cannot be made.
  zubJexWakeup();
  ~zubJexWakeup();
  zubJexWakeup(const zubJexWakeup&) = delete;
  zubJexWakeup& operator=(const zubJexWakeup&) = delete;

  // The descriptor to poll for reading.
  int fd() const { return readFd_; }
  // Makes fd() readable until reset. Safe from any thread.
  void signal();
  // Makes fd() quiet again; only while nobody waits on it.
  void reset();

 private:
  int readFd_ = -1;
  int writeFd_ = -1;
};

#endif  // ZUBJEX_SERVER_WAKEUP_H_
