// Instructions and allocations of one round trip, client and server in one process, for
// Thrift's stack and ours, with the servers, connections and payload of the harness's
// rt/thrift_calc_add_full and rt/team_calc_add_full (its bench_roundtrip.cc is compiled
// into this program, so both sides are exactly the harness's).
//
//   roundtrip_instructions thrift|zubjex N
//
// runs 500 warm-up calls, then N calls between callgrind's start and stop marks: under
// `valgrind --tool=callgrind --instr-atstart=no` the total is the user-space instructions
// of N round trips, client and server threads together. Built with
// ZUBJEX_COUNT_ALLOCATIONS (as roundtrip_allocations), the program counts instead every
// malloc, calloc and realloc of the process during the N calls (operator new ends in
// malloc) and prints the count per round trip. The two are separate programs so that the
// counting hook costs the instruction count nothing.
#define main anchors_roundtrip_main
#include "bench_roundtrip.cc"
#undef main

#include <valgrind/callgrind.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#if ZUBJEX_COUNT_ALLOCATIONS
extern "C" void* __libc_malloc(size_t);
extern "C" void* __libc_calloc(size_t, size_t);
extern "C" void* __libc_realloc(void*, size_t);

namespace {
std::atomic<long> g_allocations{0};
}  // namespace

extern "C" void* malloc(size_t n) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(n);
}
extern "C" void* calloc(size_t count, size_t n) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(count, n);
}
extern "C" void* realloc(void* p, size_t n) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(p, n);
}
#endif

namespace {

template <class Call>
__attribute__((noinline)) int64_t Loop(Call call, long n) {
  int64_t acc = 0;
  for (long i = 0; i < n; ++i) acc += call();
  return acc;
}

template <class Call>
int Measure(const char* name, Call call, long n) {
  int64_t acc = Loop(call, 500);  // warm-up: connection, pools, caches
#if ZUBJEX_COUNT_ALLOCATIONS
  long before = g_allocations.load();
#endif
  CALLGRIND_START_INSTRUMENTATION;
  acc += Loop(call, n);
  CALLGRIND_STOP_INSTRUMENTATION;
#if ZUBJEX_COUNT_ALLOCATIONS
  long allocations = g_allocations.load() - before;
  std::printf("%s allocations per round trip: %.2f\n", name, double(allocations) / double(n));
#else
  std::printf("%s: %ld round trips\n", name, n);
#endif
  return acc == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s thrift|zubjex N\n", argv[0]);
    return 2;
  }
  const long n = std::atol(argv[2]);
  const anchors::Call& p = anchors::payload();
  int rc = 2;
  if (std::strcmp(argv[1], "thrift") == 0) {
    g_thrift_calc.start(
        std::make_shared<anchors::thr::CalcProcessor>(std::make_shared<CalcHandler>()));
    {
      ThriftConn<anchors::thr::CalcClient> c(g_thrift_calc.port);
      rc = Measure(
          "thrift", [&] { return int64_t{c.client->add(p.a, p.b, p.s, p.v)}; }, n);
    }
    g_thrift_calc.stop();
  } else if (std::strcmp(argv[1], "zubjex") == 0) {
    g_team.start();
    TeamClient c(g_team.port());
    rc = Measure(
        "zubjex", [&] { return c.add(p); }, n);
    g_team.stop();
  }
  return rc;
}
