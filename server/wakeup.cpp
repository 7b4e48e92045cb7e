#include "server/wakeup.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "transport/socket.h"

zubJexWakeup::zubJexWakeup() {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
    zubTcpRaise(zubTcpErrorText("cannot make a wake-up pipe", errno));
  }
  readFd_ = fds[0];
  writeFd_ = fds[1];
}

zubJexWakeup::~zubJexWakeup() {
  ::close(readFd_);
  ::close(writeFd_);
}

void zubJexWakeup::signal() {
  char byte = 1;
  while (::write(writeFd_, &byte, 1) < 0 && errno == EINTR) {
  }
}

void zubJexWakeup::reset() {
  char bytes[64];
  while (::read(readFd_, bytes, sizeof(bytes)) > 0) {
  }
}
