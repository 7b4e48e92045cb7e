// The server's memory under a client that asks for new objects in a loop: 50,000
// createChild calls through the client and the in-memory transport, once with the
// object map's default bounds and once without bounds. For each it prints the objects
// the map holds and how much the resident memory grew over the calls made after the
// first 10,000 (by then a bounded map is full).
//
//   bench_object_map_growth
//
// Exits 1 when the bounded map holds more than its limit or its memory grew by more
// than a quarter of what the unbounded map's grew.
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "client/jex_client.h"
#include "examples/calc/calc_service.h"
#include "messages/proxy_map.h"
#include "platform/exceptions.h"
#include "platform/sequences.h"
#include "server/dispatcher.h"
#include "server/loopback_transport.h"

namespace {

constexpr int kCalls = 50000;
constexpr int kWarmUp = 10000;

// The resident memory of this process in bytes.
long ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  long size = 0, resident = 0;
  statm >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

struct Growth {
  size_t objects;
  long bytes;  // resident growth over the calls after the warm-up
};

// Makes kCalls createChild calls to a fresh server with `options`; false on a failed call.
bool Measure(const char* serverName, const zubJexObjectMapOptions& options, Growth& growth) {
  zubJexDispatcher dispatcher(options);
  calcServe(dispatcher, new CalcService("root"));
  zubJexLoopbackTransportFactory factory(dispatcher);
  zubJexNoHostObjectsMap hostObjects;
  zubJexConfig config;
  config.setJexTransportFactory(&factory);
  zubJexClient::setServerConfig(serverName, config);
  zubJexClient::setServerProxyMap(serverName, &hostObjects);
  long before = 0;
  try {
    for (int i = 0; i < kCalls; ++i) {
      if (i == kWarmUp) before = ResidentBytes();
      xrchandle<xanysequence> params(xanysequence::create());
      params->append(xstring("child"));
      zubJexClient::getInstance(serverName)->makeCall("ICalc", "createChild", params);
    }
  } catch (xthrowable* t) {
    xadoptThrown(t);
    return false;
  }
  growth.bytes = ResidentBytes() - before;
  growth.objects = dispatcher.objects().size();
  zubJexClient::setServerProxyMap(serverName, nullptr);
  return true;
}

}  // namespace

int main() {
  calcRegisterTypes();
  zubJexObjectMapOptions unbounded;
  unbounded.maxObjects = 0;
  unbounded.idleExpiry = zubJexObjectMapOptions::Clock::duration::zero();
  const zubJexObjectMapOptions bounded;
  Growth free{}, limited{};
  // The bounded map first, so that it cannot reuse memory that the other one freed.
  if (!Measure("bounded", bounded, limited) || !Measure("unbounded", unbounded, free)) {
    std::fprintf(stderr, "a createChild call failed\n");
    return 1;
  }
  std::printf("%d createChild calls; resident growth over the last %d:\n", kCalls,
              kCalls - kWarmUp);
  std::printf("  without bounds:           %6zu objects, %+8.1f MiB\n", free.objects,
              free.bytes / 1048576.0);
  std::printf("  default bounds (%5zu):   %6zu objects, %+8.1f MiB\n", bounded.maxObjects,
              limited.objects, limited.bytes / 1048576.0);
  // The root object is published too.
  if (limited.objects > bounded.maxObjects + 1 || limited.bytes * 4 > free.bytes) {
    std::fprintf(stderr, "the bounded object map grew\n");
    return 1;
  }
  return 0;
}
