#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "s11n_test_types.h"
#include "s11n_test_util.h"
#include "serialization/descriptors.h"

namespace {

using s11ntest::Bytes;
using s11ntest::Chain;
using s11ntest::Counted;
using s11ntest::Encode;
using s11ntest::ErrorOf;
using s11ntest::Hex;
using s11ntest::Node;
using s11ntest::Reader;

const std::string kFoo = Bytes("00 01 03 46 6F 6F 07 00 00 00");
const std::string kNode = Bytes("00 01 09") + "test.Node";

int IdOf(xobject* o) {
  return o != nullptr && o->isKindOf(Node::getClassRtti()) ? static_cast<Node*>(o)->id : -1;
}

// Writes the node id as one byte after each object and records the order of calls.
class RecordingWriteListener : public zubBinSerializerListener {
 public:
  void onPostObjectWrite(xobject* object, zubSerializer* s) override {
    order.push_back(IdOf(object));
    s->writeByte(static_cast<signed char>(IdOf(object)));
  }
  std::vector<int> order;
};

class RecordingReadListener : public zubBinDeserializerListener {
 public:
  void onPostObjectRead(xobject*& object, zubDeserializer* d) override {
    signed char id = 0;
    d->readByte(id);
    order.push_back(IdOf(object));
    EXPECT_EQ(id, IdOf(object));
  }
  std::vector<int> order;
};

class ThrowingWriteListener : public zubBinSerializerListener {
 public:
  void onPostObjectWrite(xobject*, zubSerializer*) override { xthrowException("write listener"); }
};

class ThrowingReadListener : public zubBinDeserializerListener {
 public:
  void onPostObjectRead(xobject*&, zubDeserializer*) override { xthrowException("listener"); }
};

// Every test ends with as many live test objects as it started with.
class ObjectEncodingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    s11ntest::RegisterTestTypes();
    liveBefore = Counted::live;
  }
  void TearDown() override { EXPECT_EQ(Counted::live, liveBefore) << "instances leaked"; }
  int liveBefore = 0;
};

TEST_F(ObjectEncodingTest, NullObjectIsOneFlagByteAndCallsNoListener) {
  RecordingWriteListener wl;
  EXPECT_EQ(Hex(Encode([&](auto& s) {
              s.registerListener(&wl);
              s.writeObject(nullptr);
            })),
            "01");
  EXPECT_TRUE(wl.order.empty());
  for (const char* flag : {"01", "02", "FF"}) {
    RecordingReadListener rl;
    Reader r(Bytes(flag));
    r.d().registerListener(&rl);
    EXPECT_EQ(r.object().get(), nullptr);
    EXPECT_TRUE(rl.order.empty());
  }
}

TEST_F(ObjectEncodingTest, ObjectIsFlagTypeNameAndContentsBothWays) {
  xrchandle<s11ntest::Foo> foo(new s11ntest::Foo());
  EXPECT_EQ(Encode([&](zubSerializer& s) { s.writeObject(foo.get()); }), kFoo);
  EXPECT_EQ(foo->refCount(), 1);  // the descriptor's handle was released
  Reader r(kFoo);
  xrchandle<xobject> got = r.object();
  ASSERT_TRUE(got && got->isKindOf(s11ntest::Foo::getClassRtti()));
  EXPECT_EQ(static_cast<s11ntest::Foo*>(got.get())->value, 7);
  EXPECT_TRUE(r.atEnd());

  // A descriptor without content functions writes the name alone.
  xrchandle<s11ntest::Empty> e(new s11ntest::Empty());
  const std::string empty = Encode([&](zubSerializer& s) { s.writeObject(e.get()); });
  EXPECT_EQ(empty, Bytes("00 01 0A") + "test.Empty");
  EXPECT_TRUE(Reader(empty).object()->isKindOf(s11ntest::Empty::getClassRtti()));
}

TEST_F(ObjectEncodingTest, NestedObjectsCallTheListenerInnerFirst) {
  xrchandle<Node> chain = Chain(2);
  RecordingWriteListener wl;
  const std::string bytes = Encode([&](auto& s) {
    s.registerListener(&wl);
    s.writeObject(chain.get());
  });
  EXPECT_EQ(Hex(bytes), Hex(kNode + Bytes("01 00 00 00") + kNode + Bytes("02 00 00 00 01 02 01")));
  EXPECT_EQ(wl.order, (std::vector<int>{2, 1}));

  RecordingReadListener rl;
  Reader r(bytes);
  r.d().registerListener(&rl);
  xrchandle<xobject> got = r.object();
  EXPECT_EQ(rl.order, (std::vector<int>{2, 1}));
  EXPECT_EQ(static_cast<Node*>(got.get())->child->id, 2);
  EXPECT_TRUE(r.atEnd());
}

// A failed write leaves what was written before the failure and releases the
// descriptor's handle on the object.
TEST_F(ObjectEncodingTest, WriteFailures) {
  ThrowingWriteListener throwing;
  const struct {
    const char* label;
    xrchandle<xobject> object;
    zubBinSerializerListener* listener;
    const char* error;
    const char* written;  // nullptr: not checked
  } cases[] = {
      {"unregistered", new s11ntest::Unregistered(), nullptr, "invalid rtti test.Unregistered",
       "00"},
      {"nameless", new s11ntest::Nameless(), nullptr, "invalid type name", "00"},
      {"listener raises", Chain(1), &throwing, "write listener", nullptr},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.label);
    btkMemOStream out;
    zubBinSerializer s(&out);
    if (c.listener != nullptr) s.registerListener(c.listener);
    EXPECT_EQ(ErrorOf([&] { s.writeObject(c.object.get()); }), c.error);
    if (c.written != nullptr) {
      EXPECT_EQ(Hex(out.str()), c.written);
    }
    EXPECT_EQ(c.object->refCount(), 1);
  }
}

// A failed read frees every instance it made (checked on tear-down), also when the
// failure is deep inside nested objects or raised by a listener.
TEST_F(ObjectEncodingTest, ReadFailuresAndWhatTheyConsume) {
  const std::string failing = Bytes("00 01 0C") + "test.Failing" + Bytes("01 00 00 00");
  ThrowingReadListener throwing;
  const struct {
    std::string bytes;
    const char* error;
    size_t consumed;  // 0: not checked
    zubBinDeserializerListener* listener;
  } cases[] = {
      {Bytes("00 01 00 07"), "invalid type name", 3, nullptr},
      {Bytes("00 01 03") + "Bar" + Bytes("07"), "invalid rtti Bar", 6, nullptr},
      {Bytes("00 01 11") + "test.Unregistered", "invalid rtti test.Unregistered", 20, nullptr},
      {Bytes("00 03"), "unsupported string size", 2, nullptr},
      {failing, "broken contents", 0, nullptr},
      {kNode + Bytes("05 00 00 00") + failing, "broken contents", 0, nullptr},
      {kFoo, "listener", 0, &throwing},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    Reader r(c.bytes);
    if (c.listener != nullptr) r.d().registerListener(c.listener);
    EXPECT_EQ(ErrorOf([&] { r.object(); }), c.error);
    if (c.consumed != 0) {
      EXPECT_EQ(r.consumed(), c.consumed);
    }
  }
}

class ReplacingReadListener : public zubBinDeserializerListener {
 public:
  explicit ReplacingReadListener(xobject* replacement) : replacement(replacement) {}
  void onPostObjectRead(xobject*& object, zubDeserializer*) override {
    xrcdisposeUnreferenced(object);
    object = replacement;
  }
  xobject* replacement;
};

TEST_F(ObjectEncodingTest, ListenerMayReplaceTheObject) {
  xrchandle<Node> mine = Chain(1);
  ReplacingReadListener l(mine.get());
  Reader r(kFoo);
  r.d().registerListener(&l);
  EXPECT_EQ(r.object().get(), mine.get());
}

TEST_F(ObjectEncodingTest, NestingIsLimited) {
  const int limit = zubBinDeserializer::kMaxObjectDepth;
  for (int depth : {limit, limit + 1}) {
    SCOPED_TRACE(depth);
    const std::string bytes = Encode([&](zubSerializer& s) { s.writeObject(Chain(depth).get()); });
    Reader r(bytes);
    if (depth == limit) {
      EXPECT_EQ(IdOf(r.object().get()), 1);
      EXPECT_TRUE(r.atEnd());
    } else {
      EXPECT_EQ(ErrorOf([&] { r.object(); }), "object nesting too deep");
    }
  }
}

TEST_F(ObjectEncodingTest, ObjectInATaggedValueIsOwnedByTheValue) {
  const std::string bytes = Encode([&](zubSerializer& s) { s.writeAny(xany(Chain(1).get())); });
  EXPECT_EQ(bytes, Bytes("0A 00 01 09") + "test.Node" + Bytes("01 00 00 00 01"));
  Reader r(bytes);
  xany got;
  r.d().readAny(got);
  ASSERT_EQ(got.getKind(), xany_object);
  EXPECT_EQ(got.toObject()->refCount(), 1);
  EXPECT_EQ(IdOf(got.toObject()), 1);
}

}  // namespace
