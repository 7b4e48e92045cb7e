#include <gtest/gtest.h>

#include <string>

#include "platform/handles.h"
#include "platform/probe.h"
#include "platform/sequences.h"
#include "platform/string_map.h"

namespace {

// Keys are kept in the order of their bytes, case-sensitively.
TEST(StringMapTest, KeepsKeyOrderAndAddReplaces) {
  btkStringMap<int> map;
  for (const char* key : {"m", "b", "z", "a", "b", "A"}) map.Add(key, static_cast<int>(key[0]));
  map.Add("m", 1);
  ASSERT_EQ(map.GetSize(), 5u);
  std::string keys;
  for (size_t i = 0; i < map.GetSize(); ++i) keys += map.GetKeyByIndex(i);
  EXPECT_EQ(keys, "Aabmz");
  int v = 0;
  EXPECT_TRUE(map.Find("m", v));
  EXPECT_EQ(v, 1);
  EXPECT_FALSE(map.Find("q", v));
  EXPECT_EQ(v, 1);  // untouched
  EXPECT_TRUE(map.ContainsKey("z"));
  map.Clear();
  EXPECT_EQ(map.GetSize(), 0u);
}

class StaticProbe : public Probe {
 public:
  using Probe::Probe;
  bool isRefCountable() const override { return false; }
};

TEST(HandleTest, LastReleaseFreesExactlyOnce) {
  int destroyed = 0;
  {
    xrchandle<xobject> a(new Probe(&destroyed));
    xrchandle<xobject> b = a;
    xrcunihandle<xobject> c(a.get());
    a.reset();
    b = xrchandle<xobject>();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(HandleTest, UniHandleLeavesStaticObjectsAlone) {
  int destroyed = 0;
  StaticProbe probe(&destroyed);
  { xrcunihandle<xobject> h(&probe); }
  EXPECT_EQ(probe.refCount(), 0);
  EXPECT_EQ(destroyed, 0);
}

TEST(HandleTest, DisposeFreesOnlyUnreferencedObjects) {
  int destroyed = 0;
  xobject* fresh = new Probe(&destroyed);
  xrcdisposeUnreferenced(fresh);
  EXPECT_EQ(destroyed, 1);
  xrchandle<xobject> held(new Probe(&destroyed));
  xrcdisposeUnreferenced(held.get());
  EXPECT_EQ(destroyed, 1);
}

// Sequences keep their first elements inside the object; more go beyond it.
TEST(SequenceTest, CreateAppendAndSoftcast) {
  xrchandle<xanysequence> values(xanysequence::create());
  values->append(xint{1});
  values->append(xstring("two"));
  EXPECT_EQ(values->getCount(), 2);
  EXPECT_EQ(values->getAt(0).toInt(), 1);
  EXPECT_TRUE(values->getAt(5).isnil());
  EXPECT_EQ(xanysequence::softcast(values.get()), values.get());
  EXPECT_EQ(xstringsequence::softcast(values.get()), nullptr);
  EXPECT_EQ(xstringsequence::softcast(XOBJECT_UNINIT), nullptr);
  EXPECT_TRUE(values->getZubTypeName() == "xanysequence");
  xrchandle<xstringsequence> names(xstringsequence::create());
  for (const char* n : {"a", "b", "c", "d", "e", "f"}) names->append(n);
  ASSERT_EQ(names->getCount(), 6);
  EXPECT_EQ(names->itemAt(5), "f");
  EXPECT_TRUE(names->itemAt(6).IsNil());
  EXPECT_EQ(names->getAt(0), "a");
}

// Room made with the sequence holds the first elements, more go to the heap; clearing
// releases every element and keeps the sequence usable. ASan checks the frees.
TEST(SequenceTest, RoomMadeWithTheSequenceAndClear) {
  xrchandle<xanysequence> probe(xanysequence::create());
  const xany element(static_cast<xobject*>(probe.get()));
  for (int32_t room : {0, 4, 5, 16}) {
    xrchandle<xanysequence> values(xanysequence::create(room));
    xrchandle<xstringsequence> names(xstringsequence::create(room));
    for (int i = 0; i < 20; ++i) {
      values->append(element);
      names->append(xstring("n"));
    }
    EXPECT_EQ(probe->refCount(), 22) << room;
    values->clear();
    EXPECT_EQ(values->getCount(), 0);
    EXPECT_EQ(probe->refCount(), 2);
    values->append(element);
    EXPECT_EQ(values->itemAt(0).toObject(), probe.get());
    EXPECT_EQ(names->itemAt(19), "n");
  }
  EXPECT_EQ(probe->refCount(), 2);
}

}  // namespace
