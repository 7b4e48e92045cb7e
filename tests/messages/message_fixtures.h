// Types, a proxy map and helpers shared by the message tests.
//
// "IFoo" is a remote interface type: FooProxy is its proxy class (made by the type's
// proxy descriptor), HostFoo an object of the host that implements it. "Point" is an
// ordinary type whose descriptor writes one int. Live instances are counted so that
// tests can prove that nothing leaks.
#ifndef ZUBJEX_TESTS_MESSAGES_MESSAGE_FIXTURES_H_
#define ZUBJEX_TESTS_MESSAGES_MESSAGE_FIXTURES_H_

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "messages/jex_proxy.h"
#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "platform/xany.h"
#include "platform/xobject.h"
#include "test_support/basics.h"

namespace fixtures {

class FooProxy : public xobject {
  XOBJECT_DECLARE_RTTI()
 public:
  FooProxy() { ++live; }
  ~FooProxy() override { --live; }
  void* castByRtti(xrttiobject* type) override;
  zubS11nJexProxy identity;
  static int live;
};

class HostFoo : public xobject {
  XOBJECT_DECLARE_RTTI()
};

class Point : public xobject {
  XOBJECT_DECLARE_RTTI()
 public:
  explicit Point(int x = 0) : x(x) {}
  int x;
};

// Registers the sequence types and the test types once.
void RegisterTypes();

// A map of fixed identifiers to host objects, in both directions, with a switch for
// failures.
class FakeProxyMap : public zubJexProxyMap {
 public:
  void add(const char* id, xobject* object);
  xstring getObjectId(xrcunihandle<xobject> object) override;
  xrcunihandle<xobject> findObject(const xstring& id) override;

  bool failLookups = false;  // raise a zubXException "map failure" from both operations

 private:
  std::map<std::string, xrcunihandle<xobject>> byId;
};

std::string Bytes(std::initializer_list<int> bytes);
// A string field: width 01, size, text.
std::string Str(const std::string& text);
using jex_test::Hex;
// A sequence object of `type` with `count` elements, as a tagged value; the elements follow.
std::string Seq(const char* type, int count);
// The nil string; also the type name field of a call or response without return type.
const std::string kNil("\x01\x00", 2);

inline zubJEXSerializer* Jex() { return zubJEXSerializer::getInstance(); }
// An IFoo proxy with the id `id` (nullptr: nil).
xrcunihandle<xobject> Proxy(const char* id);

// The outcome of an operation that may raise a framework exception.
struct Failure {
  bool raised = false;
  std::string type;   // type name of what was raised
  std::string text;   // its description
  std::string cause;  // the description of its cause; "" without one
};

template <class Op>
Failure Capture(Op&& op) {
  Failure f;
  xrcunihandle<xthrowable> caught = jex_test::raisedBy(op);
  f.raised = bool(caught);
  if (!f.raised) return f;
  f.type = caught->getZubTypeName().CastToCString();
  f.text = jex_test::descriptionOf(caught.get());
  zubXException* e = zubXException::softcast(caught.get());
  if (e != nullptr && e->getCause()) f.cause = jex_test::descriptionOf(e->getCause().get());
  return f;
}

// Registers the types, maps "h7" to a host object, fills a call and a response that a
// failed read must leave alone, and checks on tear-down that no proxy leaked.
class MessageTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
  void ExpectRecordsUntouched();
  Failure ReadCall(const std::string& bytes);
  Failure ReadResponse(const std::string& bytes);

  FakeProxyMap map;
  xrcunihandle<xobject> host;
  zubJexCall call;
  zubJexResponse response;
};

}  // namespace fixtures

#endif  // ZUBJEX_TESTS_MESSAGES_MESSAGE_FIXTURES_H_
