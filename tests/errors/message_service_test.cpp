// The built-in texts of the client's errors and a host's service that rewords them; how
// they are raised as client errors is seen in the client failure tests.
#include "errors/message_service.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

struct FormatCase {
  const char* key;                // nullptr stands for the nil key
  std::vector<const char*> args;  // nullptr stands for the nil string
  const char* expected;
  int reachedHost = 0;  // arguments a host's service receives
};

std::string Format(zubMessageService* service, const FormatCase& c) {
  xstring a[5];
  for (size_t i = 0; i < c.args.size(); ++i) a[i] = xstring(c.args[i]);
  return zubJexGetLocalizedMessage(service, c.key, a[0], a[1], a[2], a[3], a[4]).CastToCString();
}

// The texts of the keys that a client raises are checked, with their arguments, where
// the client raises them (client failure tests); here are the rules of the arguments.
const FormatCase kBuiltInCases[] = {
    {"zubJEX_JEX_CLIENT_ERROR", {"boom"}, "JEX Client Error: boom."},
    {"zubJEX_JEX_CLIENT_ERROR", {}, "JEX Client Error: %s."},
    {"zubJEX_JEX_CLIENT_ERROR", {nullptr, "ignored"}, "JEX Client Error: %s."},
    {"zubJEX_JEX_CLIENT_ERROR", {""}, "JEX Client Error: ."},
    {"zubJEX_UNKNOWN_EXCEPTION", {}, "Unknown exception"},
    {"zubJEX_FAILED_CREATE_CALL",
     {"open", nullptr, "Doc"},
     "Failed to generate RPC call for method \"open\" of ZUB interface %s"},
    {"zubJEX_NO_SUCH_KEY", {"a", "b"}, "zubJEX_NO_SUCH_KEY"},
    {"", {}, ""},
    {nullptr, {}, ""},
    {"zubJEX_MISSING_S11N_DESCR",
     {"1", "2", "3", "4", "5"},
     "Missing s11n descriptor for ZUB type 1"},
};

TEST(MessageServiceTest, BuiltInTextsWithTheirArguments) {
  for (const FormatCase& c : kBuiltInCases) {
    SCOPED_TRACE(c.key);
    EXPECT_EQ(Format(nullptr, c), c.expected);
    EXPECT_EQ(Format(zubBINgetDefaultMsgService(), c), c.expected);
  }
  EXPECT_FALSE(zubJexGetLocalizedMessage(nullptr, xstring()).IsNil());
}

// More arguments than a text can take give the key back; the key's own function cannot
// pass that many.
TEST(MessageServiceTest, TooManyArgumentsGiveTheKey) {
  xrchandle<xstringsequence> args(xstringsequence::create());
  for (const char* a : {"0", "1", "2", "3", "4", "5"}) args->append(a);
  EXPECT_EQ(zubBINgetDefaultMsgService()->getLocalizedMessage("zubJEX_MISSING_S11N_DESCR", args),
            "zubJEX_MISSING_S11N_DESCR");
}

// The service is made lazily under a lock.
TEST(MessageServiceTest, DefaultServiceIsOneInstanceAcrossThreads) {
  std::vector<zubMessageService*> seen(4, nullptr);
  std::vector<std::thread> threads;
  for (size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = zubBINgetDefaultMsgService(); });
  }
  for (std::thread& t : threads) t.join();
  for (zubMessageService* s : seen) EXPECT_EQ(s, zubBINgetDefaultMsgService());
}

// A host's service that rewords one key, answers "" for one, and nil for the rest;
// it records how many arguments reached it.
class HostService : public zubMessageService {
 public:
  xstring getLocalizedMessage(xstring key, xrchandle<xstringsequence> args) override {
    lastCount = args->getCount();
    if (key == "zubJEX_FAILED_GET_REQUEST") return xstring("Anfrage gescheitert");
    if (key == "zubJEX_MISSING_S11N_DESCR") return xstring("");
    return xstring();
  }
  int32_t lastCount = -1;
};

TEST(MessageServiceTest, HostServiceRewordsOrFallsBackToBuiltIn) {
  HostService host;
  const FormatCase cases[] = {
      {"zubJEX_FAILED_GET_REQUEST", {}, "Anfrage gescheitert", 0},
      {"zubJEX_MISSING_S11N_DESCR", {"Foo"}, "Missing s11n descriptor for ZUB type Foo", 1},
      {"zubJEX_INVALID_RESPONSE_KIND", {}, "Invalid JEX response kind", 0},
      {"zubJEX_NOT_BUILT_IN", {"x"}, "zubJEX_NOT_BUILT_IN", 1},
      {"zubJEX_FAILED_GET_REQUEST", {nullptr, "b", "c"}, "Anfrage gescheitert", 0},
      {"zubJEX_FAILED_GET_REQUEST", {"", "b", nullptr, "d"}, "Anfrage gescheitert", 2},
      {nullptr, {}, "", 0},
  };
  for (const FormatCase& c : cases) {
    SCOPED_TRACE(c.key);
    EXPECT_EQ(Format(&host, c), c.expected);
    EXPECT_EQ(host.lastCount, c.reachedHost);
  }
  EXPECT_FALSE(zubJexGetLocalizedMessage(&host, xstring()).IsNil());
}

}  // namespace
