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

int IdOf(xobject* o) {
  Node* n = o->isKindOf(Node::getClassRtti()) ? static_cast<Node*>(o) : nullptr;
  return n != nullptr ? n->id : -1;
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
  btkMemOStream out;
  zubBinSerializer s(&out);
  s.registerListener(&wl);
  s.writeObject(nullptr);
  EXPECT_EQ(Hex(out.str()), "01");
  EXPECT_TRUE(wl.order.empty());

  for (const char* flag : {"01", "02", "FF"}) {
    RecordingReadListener rl;
    Reader r(Bytes(flag));
    r.d().registerListener(&rl);
    xobject* got = reinterpret_cast<xobject*>(&rl);
    r.d().readObject(got);
    EXPECT_EQ(got, nullptr);
    EXPECT_TRUE(rl.order.empty());
  }
}

TEST_F(ObjectEncodingTest, ObjectIsFlagTypeNameAndContentsBothWays) {
  const std::string golden = Bytes("00 01 03 46 6F 6F 07 00 00 00");
  xrchandle<s11ntest::Foo> foo(new s11ntest::Foo());
  EXPECT_EQ(Encode([&](zubSerializer& s) { s.writeObject(foo.get()); }), golden);
  EXPECT_EQ(foo->refCount(), 1);  // the descriptor's handle was released

  Reader r(golden);
  xobject* got = nullptr;
  r.d().readObject(got);
  xrchandle<xobject> owned(got);
  ASSERT_TRUE(got != nullptr && got->isKindOf(s11ntest::Foo::getClassRtti()));
  EXPECT_EQ(static_cast<s11ntest::Foo*>(got)->value, 7);
  EXPECT_TRUE(r.atEnd());
}

TEST_F(ObjectEncodingTest, DescriptorWithoutContentFunctionsWritesTheNameAlone) {
  xrchandle<s11ntest::Empty> e(new s11ntest::Empty());
  const std::string bytes = Encode([&](zubSerializer& s) { s.writeObject(e.get()); });
  EXPECT_EQ(bytes, Bytes("00 01 0A") + "test.Empty");
  Reader r(bytes);
  xobject* got = nullptr;
  r.d().readObject(got);
  xrchandle<xobject> owned(got);
  EXPECT_TRUE(got->isKindOf(s11ntest::Empty::getClassRtti()));
}

TEST_F(ObjectEncodingTest, NestedObjectsCallTheListenerInnerFirst) {
  xrchandle<Node> chain = Chain(2);
  RecordingWriteListener wl;
  btkMemOStream out;
  zubBinSerializer s(&out);
  s.registerListener(&wl);
  s.writeObject(chain.get());
  const std::string node = Bytes("00 01 09") + "test.Node";
  EXPECT_EQ(Hex(out.str()), Hex(node + Bytes("01 00 00 00") + node + Bytes("02 00 00 00") +
                                Bytes("01") + Bytes("02 01")));
  EXPECT_EQ(wl.order, (std::vector<int>{2, 1}));

  RecordingReadListener rl;
  Reader r(out.str());
  r.d().registerListener(&rl);
  xobject* got = nullptr;
  r.d().readObject(got);
  xrchandle<xobject> owned(got);
  EXPECT_EQ(rl.order, (std::vector<int>{2, 1}));
  EXPECT_EQ(static_cast<Node*>(got)->child->id, 2);
  EXPECT_TRUE(r.atEnd());
}

TEST_F(ObjectEncodingTest, WriteFailuresLeaveOnlyTheFlag) {
  struct Case {
    xobject* object;
    const char* error;
  };
  xrchandle<xobject> unregistered(new s11ntest::Unregistered());
  xrchandle<xobject> nameless(new s11ntest::Nameless());
  for (const Case& c : {Case{unregistered.get(), "invalid rtti test.Unregistered"},
                        Case{nameless.get(), "invalid type name"}}) {
    btkMemOStream out;
    zubBinSerializer s(&out);
    EXPECT_EQ(ErrorOf([&] { s.writeObject(c.object); }), c.error);
    EXPECT_EQ(Hex(out.str()), "00");
  }
}

TEST_F(ObjectEncodingTest, ReadFailuresAndWhatTheyConsume) {
  struct Case {
    std::string bytes;
    const char* error;
    size_t consumed;
  };
  const Case cases[] = {
      {Bytes("00 01 00 07"), "invalid type name", 3},
      {Bytes("00 01 03") + "Bar" + Bytes("07"), "invalid rtti Bar", 6},
      {Bytes("00 01 11") + "test.Unregistered", "invalid rtti test.Unregistered", 20},
      {Bytes("00 03"), "unsupported string size", 2},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.error);
    Reader r(c.bytes);
    xobject* got = nullptr;
    EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), c.error);
    EXPECT_EQ(r.consumed(), c.consumed);
  }
}

TEST_F(ObjectEncodingTest, InstanceIsFreedWhenItsContentsFailToRead) {
  const std::string failing = Bytes("00 01 0C") + "test.Failing" + Bytes("01 00 00 00");
  Reader r(failing);
  xobject* got = nullptr;
  EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), "broken contents");
  // Also when the failure is deep inside nested objects.
  const std::string nested = Bytes("00 01 09") + "test.Node" + Bytes("05 00 00 00") + failing;
  Reader r2(nested);
  EXPECT_EQ(ErrorOf([&] { r2.d().readObject(got); }), "broken contents");
}

class ThrowingReadListener : public zubBinDeserializerListener {
 public:
  void onPostObjectRead(xobject*&, zubDeserializer*) override { xthrowException("listener"); }
};

TEST_F(ObjectEncodingTest, InstanceIsFreedWhenTheListenerRaises) {
  ThrowingReadListener l;
  Reader r(Bytes("00 01 03 46 6F 6F 07 00 00 00"));
  r.d().registerListener(&l);
  xobject* got = nullptr;
  EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), "listener");
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
  Reader r(Bytes("00 01 03 46 6F 6F 07 00 00 00"));
  r.d().registerListener(&l);
  xobject* got = nullptr;
  r.d().readObject(got);
  EXPECT_EQ(got, mine.get());
}

class ThrowingSerializeListener : public zubBinSerializerListener {
 public:
  void onPostObjectWrite(xobject*, zubSerializer*) override { xthrowException("write listener"); }
};

TEST_F(ObjectEncodingTest, WriteErrorsPassThroughAndReleaseTheDescriptorsHandle) {
  xrchandle<Node> chain = Chain(1);
  ThrowingSerializeListener l;
  btkMemOStream out;
  zubBinSerializer s(&out);
  s.registerListener(&l);
  EXPECT_EQ(ErrorOf([&] { s.writeObject(chain.get()); }), "write listener");
  EXPECT_EQ(chain->refCount(), 1);
}

TEST_F(ObjectEncodingTest, NestingIsLimited) {
  const int limit = zubBinDeserializer::kMaxObjectDepth;
  for (int depth : {limit, limit + 1}) {
    SCOPED_TRACE(depth);
    xrchandle<Node> chain = Chain(depth);
    const std::string bytes = Encode([&](zubSerializer& s) { s.writeObject(chain.get()); });
    chain.reset();
    Reader r(bytes);
    xobject* got = nullptr;
    if (depth == limit) {
      r.d().readObject(got);
      xrchandle<xobject> owned(got);
      EXPECT_EQ(IdOf(got), 1);
      EXPECT_TRUE(r.atEnd());
    } else {
      EXPECT_EQ(ErrorOf([&] { r.d().readObject(got); }), "object nesting too deep");
    }
  }
}

TEST_F(ObjectEncodingTest, ObjectInATaggedValueIsOwnedByTheValue) {
  xrchandle<Node> node = Chain(1);
  const std::string bytes = Encode([&](zubSerializer& s) { s.writeAny(xany(node.get())); });
  EXPECT_EQ(bytes, Bytes("0A 00 01 09") + "test.Node" + Bytes("01 00 00 00 01"));
  node.reset();
  Reader r(bytes);
  xany got;
  r.d().readAny(got);
  ASSERT_EQ(got.getKind(), xany_object);
  EXPECT_EQ(got.toObject()->refCount(), 1);
  EXPECT_EQ(IdOf(got.toObject()), 1);
}

}  // namespace
