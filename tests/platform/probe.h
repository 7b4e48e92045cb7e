// Test objects whose destruction is observable, for reference-count tests.
#ifndef ZUBJEX_TESTS_PLATFORM_PROBE_H_
#define ZUBJEX_TESTS_PLATFORM_PROBE_H_

#include "platform/xobject.h"

// Counts its destruction in *destroyed.
class Probe : public xobject {
 public:
  explicit Probe(int* destroyed) : destroyed_(destroyed) {}
  ~Probe() override { ++*destroyed_; }

 private:
  int* destroyed_;
};

#endif  // ZUBJEX_TESTS_PLATFORM_PROBE_H_
