// The bounds of the server's object map: the most objects handed out, the one used
// longest ago dropped first, idle expiry, registered objects kept for good, and the
// fault that a call on a dropped object gets.
#include <memory>
#include <thread>
#include <vector>

#include "calc.jex.h"
#include "server_test_support.h"

using namespace jex_test;

namespace {

typedef zubJexObjectMapOptions::Clock Clock;
using std::chrono::minutes;

// A clock that moves only when the test moves it.
struct TestClock {
  std::shared_ptr<Clock::time_point> time = std::make_shared<Clock::time_point>();
  void advance(Clock::duration by) { *time += by; }
  zubJexObjectMapOptions options(size_t maxObjects, Clock::duration idle) const {
    zubJexObjectMapOptions options;
    options.maxObjects = maxObjects;
    options.idleExpiry = idle;
    auto now = time;
    options.now = [now] { return *now; };
    return options;
  }
};

std::vector<xrcunihandle<xobject>> calcs(int count) {
  std::vector<xrcunihandle<xobject>> made;
  for (int i = 0; i < count; ++i) made.emplace_back(new CalcService("c" + std::to_string(i)));
  return made;
}

bool published(zubJexServerObjectMap& map, const xstring& id) {
  return !map.findObject(id).isNull();
}

// What a map holds after a script of uses: objects are handed out ("give"), looked up
// ("find") or handed out again ("give" of an object that has an id), and time passes.
TEST(ServerObjectMap, DropsTheObjectUsedLongestAgoAndTheIdleOnes) {
  enum Op { kGive, kFind, kWait };
  struct Step {
    Op op;
    int object;  // index into the objects; for kWait, minutes
  };
  struct Case {
    const char* name;
    size_t maxObjects;
    int idleMinutes;
    std::vector<Step> steps;
    std::vector<bool> publishedAfter;  // per object, checked in order
  } cases[] = {
      {"the oldest go when full", 2, 0, {{kGive, 0}, {kGive, 1}, {kGive, 2}}, {false, true, true}},
      {"a lookup is a use",
       2,
       0,
       {{kGive, 0}, {kGive, 1}, {kFind, 0}, {kGive, 2}},
       {true, false, true}},
      {"handing out again is a use",
       2,
       0,
       {{kGive, 0}, {kGive, 1}, {kGive, 0}, {kGive, 2}},
       {true, false, true}},
      {"no limit", 0, 0, {{kGive, 0}, {kGive, 1}, {kGive, 2}}, {true, true, true}},
      {"idle objects expire",
       10,
       10,
       {{kGive, 0}, {kWait, 5}, {kGive, 1}, {kWait, 5}},
       {false, true, false}},
      {"each use restarts the expiry",
       10,
       10,
       {{kGive, 0}, {kWait, 9}, {kFind, 0}, {kWait, 9}, {kFind, 0}, {kWait, 9}},
       {true}},
      {"no expiry", 10, 0, {{kGive, 0}, {kWait, 100000}}, {true}},
  };
  for (const Case& c : cases) {
    TestClock clock;
    zubJexServerObjectMap map(clock.options(c.maxObjects, minutes(c.idleMinutes)));
    std::vector<xrcunihandle<xobject>> objects = calcs(static_cast<int>(c.publishedAfter.size()));
    std::vector<xstring> ids(objects.size());
    for (const Step& s : c.steps) {
      if (s.op == kGive) {
        ids[s.object] = map.getObjectId(objects[s.object]);
      } else if (s.op == kFind) {
        ASSERT_TRUE(published(map, ids[s.object])) << c.name;
      } else {
        clock.advance(minutes(s.object));
      }
    }
    size_t count = 0;
    for (size_t i = 0; i < objects.size(); ++i) {
      EXPECT_EQ(published(map, ids[i]), c.publishedAfter[i]) << c.name << ": object " << i;
      // A dropped object keeps no reference of the map's.
      EXPECT_EQ(objects[i]->refCount(), c.publishedAfter[i] ? 2 : 1) << c.name << ": " << i;
      count += c.publishedAfter[i] ? 1 : 0;
    }
    EXPECT_EQ(map.size(), count) << c.name;
  }
}

TEST(ServerObjectMap, DroppedObjectGetsANewIdentifierWhenHandedOutAgain) {
  TestClock clock;
  zubJexServerObjectMap map(clock.options(1, minutes(0)));
  std::vector<xrcunihandle<xobject>> objects = calcs(2);
  xstring first = map.getObjectId(objects[0]);
  map.getObjectId(objects[1]);
  xstring again = map.getObjectId(objects[0]);
  EXPECT_NE(again, first);
  EXPECT_FALSE(published(map, first));
  EXPECT_EQ(map.findObject(again).get(), objects[0].get());
}

TEST(ServerObjectMap, RegisteredObjectsAreNeitherCountedNorDropped) {
  TestClock clock;
  zubJexServerObjectMap map(clock.options(1, minutes(1)));
  std::vector<xrcunihandle<xobject>> objects = calcs(3);
  xstring handedOut = map.getObjectId(objects[0]);
  ASSERT_TRUE(map.registerObject("root", objects[0].get()));  // published before: now a root
  ASSERT_TRUE(map.registerObject("other", objects[1].get()));
  map.getObjectId(objects[2]);
  clock.advance(minutes(60 * 24));
  EXPECT_FALSE(published(map, handedOut));
  EXPECT_EQ(map.findObject("root").get(), objects[0].get());
  EXPECT_EQ(map.findObject("other").get(), objects[1].get());
  EXPECT_EQ(map.getObjectId(objects[0]), "root");
  EXPECT_EQ(map.size(), 2u);
}

// The client sees the fault that names the identifier, whether the object expired or
// was pushed out by newer ones.
TEST(ServerObjectMap, CallOnADroppedObjectIsAnUnknownObjectFaultNamingIt) {
  struct Case {
    const char* name;
    void (*drop)(TestClock& clock, zubJexDispatcher& dispatcher);
  } cases[] = {
      {"expired", [](TestClock& clock, zubJexDispatcher&) { clock.advance(minutes(11)); }},
      {"pushed out",
       [](TestClock&, zubJexDispatcher& dispatcher) {
         dispatcher.objects().getObjectId(xrcunihandle<xobject>(new CalcService("newer")));
       }},
  };
  for (const Case& c : cases) {
    TestClock clock;
    zubJexDispatcher dispatcher(clock.options(1, minutes(10)));
    calcRegisterTypes();
    calcServe(dispatcher, new CalcService("root"));
    auto exchange = [&](const std::string& request, zubJexResponse& answer) {
      btkMemIStream in(request);
      btkMemOStream out;
      ASSERT_TRUE(dispatcher.dispatch(&in, out, "client"));
      decodeResponse(out.data(), out.size(), answer);
    };
    zubJexResponse created;
    exchange(callBytes("ICalc:createChild", false, {{"name", "kid"}}), created);
    ICalcProxy* kid = ICalcProxy::softcast(created.getObject().toObject());
    ASSERT_NE(kid, nullptr) << c.name;
    std::string getName =
        callBytes("ICalc:getName", false, {{"this", xany(static_cast<xobject*>(kid))}});
    zubJexResponse name;
    exchange(getName, name);
    EXPECT_EQ(name.getObject().toString(), "kid") << c.name;

    c.drop(clock, dispatcher);
    exchange(getName, name);
    EXPECT_EQ(name.getKind(), zubJexResponseFault) << c.name;
    EXPECT_EQ(name.getFaultCode(), ZUBJEX_FAULT_UNKNOWN_OBJECT) << c.name;
    EXPECT_EQ(name.getFaultString(),
              ("unknown object " + std::string(kid->getProxyId().CastToCString())).c_str())
        << c.name;
  }
}

// Under ThreadSanitizer this checks the locking; everywhere, that the bound holds.
TEST(ServerObjectMap, BoundHoldsUnderConcurrentUse) {
  zubJexObjectMapOptions options;
  options.maxObjects = 16;
  zubJexServerObjectMap map(options);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&map] {
      for (int i = 0; i < 500; ++i) {
        xrcunihandle<xobject> object(new CalcService("c"));
        xstring id = map.getObjectId(object);
        map.findObject(id);
        if (i % 7 == 0) map.releaseObject(id.CastToCString());
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_LE(map.size(), 16u);
}

}  // namespace
