// Object types of the serialization tests. Live instances are counted so that tests
// can prove that the reader frees what it made when reading fails.
//
//   "Foo"            contents: one int
//   "test.Node"      contents: id (int), child (object, may be null)
//   "test.Empty"     a descriptor without content functions
//   "t"              the same, under the shortest name: the smallest object on the wire
//   "test.Failing"   reading raises "broken contents" after one int
//   "test.Unregistered", and a type without name: no descriptor
#ifndef ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_TYPES_H_
#define ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_TYPES_H_

#include "platform/handles.h"
#include "platform/xobject.h"

namespace s11ntest {

class Counted : public xobject {
 public:
  Counted() { ++live; }
  ~Counted() override { --live; }
  static int live;
};

class Foo : public Counted {
  XOBJECT_DECLARE_RTTI()
 public:
  int value = 7;
};

class Node : public Counted {
  XOBJECT_DECLARE_RTTI()
 public:
  int id = 0;
  xrchandle<Node> child;
};

class Empty : public Counted {
  XOBJECT_DECLARE_RTTI()
};

class Tiny : public Counted {
  XOBJECT_DECLARE_RTTI()
};

class Failing : public Counted {
  XOBJECT_DECLARE_RTTI()
};

class Unregistered : public Counted {
  XOBJECT_DECLARE_RTTI()
};

class Nameless : public Counted {
  XOBJECT_DECLARE_RTTI()
};

// Registers the types above and the runtime's sequence types; idempotent.
void RegisterTestTypes();

// A chain of `depth` nodes with ids 1 .. depth, the outermost first.
xrchandle<Node> Chain(int depth);

}  // namespace s11ntest

#endif  // ZUBJEX_TESTS_SERIALIZATION_S11N_TEST_TYPES_H_
