#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/exceptions.h"
#include "platform/logging.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "test_support/basics.h"

namespace {

using namespace jex_test;  // NOLINT(build/namespaces)

TEST(MemoryStreamTest, OutputGrowsAndClearKeepsCapacity) {
  btkMemOStream out;
  for (int i = 0; i < 1000; ++i) out.Write(&i, sizeof i);
  EXPECT_EQ(out.size(), 4000u);
  const uint8_t* before = out.data();
  out.Clear();
  out.Write("x", 1);
  EXPECT_EQ(out.data(), before);
  EXPECT_EQ(out.str(), "x");
}

TEST(MemoryStreamTest, ReadPastTheEndRaisesAndConsumesNothing) {
  const char bytes[] = {1, 2, 3};
  btkMemIStream in(bytes, sizeof bytes);
  char two[2];
  in.Read(two, 2);
  EXPECT_EQ(raisedText([&] { in.Read(two, 2); }), "unexpected end of stream");
  EXPECT_EQ(in.position(), 2u);
}

// Fields put together or taken in place count as written or read at once.
TEST(MemoryStreamTest, InPlaceAccess) {
  btkMemOStream out;
  out.Write("a", 1);
  std::memcpy(out.Extend(300), std::string(300, 'b').data(), 300);
  EXPECT_EQ(out.str(), "a" + std::string(300, 'b'));
  const char bytes[] = {1, 2, 3};
  btkMemIStream in(bytes, sizeof bytes);
  EXPECT_EQ(in.Peek(4), nullptr);
  EXPECT_EQ(in.Peek(3)[2], 3);
  EXPECT_EQ(in.Consume(2)[1], 2);
  EXPECT_EQ(raisedText([&] { in.Consume(2); }), "unexpected end of stream");
  EXPECT_EQ(in.position(), 2u);
}

TEST(ExceptionTest, KindsTextsDetailAndCause) {
  xrcunihandle<xthrowable> fault = raisedBy([] { zubXJexFault::Throw("E1", "boom", xint{7}); });
  ASSERT_TRUE(zubXJexFault::isObjKindOf(fault.get()));
  EXPECT_EQ(descriptionOf(fault.get()), "E1: boom");
  EXPECT_EQ(zubXJexFault::cast(fault.get())->getFaultDetail().toInt(), 7);
  EXPECT_EQ(zubXSerialization::softcast(fault.get()), nullptr);
  xrchandle<zubXException> cause(new zubXException("inner"));
  xrchandle<zubXSerialization> e(zubXSerialization::Create("outer", cause));
  EXPECT_EQ(descriptionOf(e.get()), "outer");
  EXPECT_EQ(causesOf(e.get()), "inner");
}

TEST(RttiRegistryTest, UserDataByTypeAndKey) {
  int data = 0;
  zubRttiSetUserData("RegistryTestType", "bins11n", &data);
  EXPECT_EQ(zubRttiGetUserData("RegistryTestType", "bins11n"), &data);
  EXPECT_EQ(zubRttiGetUserData("RegistryTestType", "other"), nullptr);
  EXPECT_EQ(zubRttiGetUserData("NoSuchType", "bins11n"), nullptr);
  zubRttiSetUserData("RegistryTestType", "bins11n", nullptr);
  EXPECT_EQ(zubRttiGetUserData("RegistryTestType", "bins11n"), nullptr);
  EXPECT_EQ(zubRttiGetFromMap("any"), zubGetRtti_any());
}

TEST(LoggingTest, RecordsOnlyAtEnabledLevelsWithNestedLoggerName) {
  std::vector<btkLogRecord> records;
  btkLogManager::SetSink([&](const btkLogRecord& r) { records.push_back(r); });
  void* area = btkLogManager::CreateArea("TESTAREA", "Log area TESTAREA");
  EXPECT_EQ(area, btkLogManager::CreateArea("TESTAREA", "again"));
  EXPECT_FALSE(btkLogManager::AreaIsLoggable(area, 3));
  btkLogManager::SetAreaLevel(area, 3);
  ASSERT_TRUE(btkLogManager::AreaIsLoggable(area, 3));
  {
    btkLocalLogger logger(btkLogger::CreateNestedOnCurrent("inner", "Inner", nullptr));
    logger->Activate();
    btkLogGetOStream(area, 3) << "hello " << xstring("world");
  }
  btkLogGetOStream(area, 3) << "outside";
  btkLogManager::SetSink(nullptr);
  btkLogManager::SetAreaLevel(area, 0);
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].text, "hello world");
  EXPECT_EQ(records[0].logger, "inner");
  EXPECT_EQ(records[0].area, "TESTAREA");
  EXPECT_EQ(records[1].logger, "");
}

}  // namespace
