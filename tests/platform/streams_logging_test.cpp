#include <gtest/gtest.h>

#include <vector>

#include "platform/exceptions.h"
#include "platform/logging.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"

namespace {

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
  char more[2];
  try {
    in.Read(more, 2);
    FAIL() << "no exception";
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    zubXException* e = zubXException::softcast(caught.get());
    ASSERT_NE(e, nullptr);
    EXPECT_TRUE(e->getDescription() == "unexpected end of stream");
  }
  EXPECT_EQ(in.position(), 2u);
}

TEST(ExceptionTest, FaultCarriesCodeTextAndDetail) {
  try {
    zubXJexFault::Throw("E1", "boom", xint{7});
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    ASSERT_TRUE(zubXJexFault::isObjKindOf(caught.get()));
    zubXJexFault* f = zubXJexFault::cast(caught.get());
    EXPECT_TRUE(f->getDescription() == "E1: boom");
    EXPECT_EQ(f->getFaultDetail().toInt(), 7);
    EXPECT_EQ(zubXSerialization::softcast(caught.get()), nullptr);
    EXPECT_NE(zubXException::softcast(caught.get()), nullptr);
  }
}

TEST(ExceptionTest, SerializationErrorKeepsItsCause) {
  xrchandle<zubXException> cause(new zubXException("inner"));
  xrchandle<zubXSerialization> e(zubXSerialization::Create("outer", cause));
  EXPECT_TRUE(e->getDescription() == "outer");
  EXPECT_TRUE(e->getCause()->getDescription() == "inner");
  EXPECT_TRUE(e->getZubTypeName() == "zubXSerialization");
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
