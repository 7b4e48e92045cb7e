#include "platform/small_vector.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/handles.h"
#include "platform/sequences.h"

namespace {

// Every element holds a reference on one probe object: the probe's count tells how
// many elements are alive, so a lost or doubled element shows.
TEST(SmallVectorTest, ElementsSurviveGrowthAndAreFreedOnce) {
  xrchandle<xanysequence> probe(xanysequence::create());
  const xany element(static_cast<xobject*>(probe.get()));
  for (size_t count : {0u, 3u, 4u, 5u, 17u}) {
    {
      btkSmallVector<xany, 4> items;
      for (size_t i = 0; i < count; ++i) items.push_back(element);
      ASSERT_EQ(items.size(), count);
      for (size_t i = 0; i < count; ++i) EXPECT_EQ(items[i].toObject(), probe.get());
      EXPECT_EQ(probe->refCount(), static_cast<int>(2 + count));
    }
    EXPECT_EQ(probe->refCount(), 2) << count;
  }
}

TEST(SmallVectorTest, AppendingItsOwnElementWhileGrowing) {
  btkSmallVector<xstring, 2> items;
  items.push_back(xstring("a"));
  items.push_back(xstring("b"));
  items.push_back(items[0]);  // the array moves while the copy is made
  items.reserve(9);
  items.push_back(items[2]);
  std::string all;
  for (size_t i = 0; i < items.size(); ++i) all += items[i].CastToCString();
  EXPECT_EQ(all, "abaa");
}

}  // namespace
