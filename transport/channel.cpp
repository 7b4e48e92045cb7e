#include "transport/channel.h"

#include "transport/socket.h"

size_t zubTcpChannel::receiveSome(void* data, size_t size, zubTcpDeadline deadline) {
  size_t n = tryReceive(data, size, deadline);
  if (n == kTimedOut) zubTcpRaise("timed out waiting for " + peer());
  return n;
}
