// Every kind of type of the interface language through generated code on both sides:
// typed_shapes.jex served by its generated skeleton through a dispatcher, called
// through its generated proxy over the loopback transport.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "server/dispatcher.h"
#include "server/loopback_transport.h"
#include "test_support/jex_test_support.h"
#include "typed_shapes.jex.h"

using namespace jex_test;

namespace {

class Shapes : public IShapesSkeleton {
 public:
  xrchandle<Shape> make(const std::string& name,
                        const std::vector<xrchandle<Point>>& points) override {
    xrchandle<Shape> s(new Shape());
    s->name = name;
    s->closed = true;
    s->tag = -3;
    s->layer = -300;
    s->id = 1LL << 40;
    s->scale = 0.25;
    s->extra = xany(xint(9));
    s->points = points;
    s->labels = {"a", "", "c"};
    s->groups = {{1, 2}, {}, {3}};
    s->notes = xstringsequence::create();
    s->notes->append("note");
    s->bag = xanysequence::create();
    s->bag->append(xany("in the bag"));
    s->origin = new Point(7, -8);
    s->owner = this;
    return s;
  }
  std::vector<int32_t> sums(const std::vector<std::vector<int32_t>>& groups) override {
    std::vector<int32_t> out;
    for (const auto& g : groups) {
      int32_t sum = 0;
      for (int32_t v : g) sum += v;
      out.push_back(sum);
    }
    return out;
  }
  double scale(double factor, int64_t id, int16_t layer, int8_t tag, bool flip) override {
    const double value = factor * static_cast<double>(id + layer + tag);
    return flip ? -value : value;
  }
  std::vector<std::string> echo(const std::vector<std::string>& words,
                                const xrchandle<xstringsequence>& more,
                                const xrchandle<xanysequence>& bag) override {
    std::vector<std::string> out = words;
    for (int32_t i = 0; more && i < more->getCount(); ++i)
      out.push_back(more->getAt(i).CastToCString());
    out.push_back(std::to_string(bag ? bag->getCount() : -1));
    return out;
  }
  xany pass(const xany& value) override { return value; }
  void fail(int32_t code, const std::string& reason) override {
    if (code == 0) xthrow(new Unexplained());
    ShapeError::Throw(code, reason);
  }
  xrchandle<IShapesSkeleton> self() override { return this; }
  bool same(const xrchandle<IShapesSkeleton>& other) override { return other.get() == this; }
  void forget() override { ++forgotten; }

  int forgotten = 0;
};

class GeneratedShapes : public ::testing::Test {
 protected:
  GeneratedShapes() : root(new Shapes()), factory(dispatcher), name(uniqueServerName("shapes")) {
    typedShapesRegisterTypes();
    IShapesSkeleton::serve(dispatcher, root, "shapes");
    zubJexConfig config;
    config.setJexTransportFactory(&factory);
    zubJexClient::setServerConfig(name.c_str(), config);
    zubJexClient::setServerProxyMap(name.c_str(), &map);
    zubJexClient* client = zubJexClient::getInstance(name.c_str());
    proxy = IShapesProxy::softcast(client->getRootObject("IShapes", "shapes").get());
    zubJexClient::freeInstance(client);
  }
  ~GeneratedShapes() override { zubJexClient::setServerConfig(name.c_str(), zubJexConfig()); }

  zubJexDispatcher dispatcher;
  Shapes* root;  // kept by the dispatcher
  zubJexLoopbackTransportFactory factory;
  NoHostObjects map;
  std::string name;
  xrchandle<IShapesProxy> proxy;
};

TEST_F(GeneratedShapes, StructWithEveryFieldTypeTravelsBack) {
  ASSERT_TRUE(proxy);
  xrchandle<Shape> s = proxy->make("tri", {new Point(1, 2), new Point(-3, 4)});
  ASSERT_TRUE(s);
  EXPECT_EQ(s->name, "tri");
  EXPECT_TRUE(s->closed);
  EXPECT_EQ(s->tag, -3);
  EXPECT_EQ(s->layer, -300);
  EXPECT_EQ(s->id, 1LL << 40);
  EXPECT_EQ(s->scale, 0.25);
  EXPECT_EQ(s->extra, xany(xint(9)));
  ASSERT_EQ(s->points.size(), 2u);
  EXPECT_EQ(s->points[1]->x, -3);
  EXPECT_EQ(s->points[1]->y, 4);
  EXPECT_EQ(s->labels, (std::vector<std::string>{"a", "", "c"}));
  EXPECT_EQ(s->groups, (std::vector<std::vector<int32_t>>{{1, 2}, {}, {3}}));
  ASSERT_TRUE(s->notes && s->bag);
  EXPECT_EQ(s->notes->getAt(0), "note");
  EXPECT_EQ(s->bag->getAt(0).toString(), "in the bag");
  EXPECT_EQ(s->origin->x, 7);
  EXPECT_EQ(s->origin->y, -8);
  IShapesProxy* owner = IShapesProxy::softcast(s->owner.get());
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(owner->getProxyId(), "shapes");
}

TEST_F(GeneratedShapes, ListsNumbersAnyAndObjectsRoundTrip) {
  EXPECT_EQ(proxy->sums({{1, 2, 3}, {}, {-4}}), (std::vector<int32_t>{6, 0, -4}));
  EXPECT_EQ(proxy->scale(0.5, 100, -10, 2, true), -46.0);
  xrchandle<xstringsequence> more(xstringsequence::create());
  more->append("more");
  EXPECT_EQ(proxy->echo({"one", "two"}, more, xrchandle<xanysequence>()),
            (std::vector<std::string>{"one", "two", "more", "-1"}));
  EXPECT_EQ(proxy->pass(xany(xlong(-5))), xany(xlong(-5)));
  EXPECT_EQ(proxy->pass(xany("text")).toString(), "text");

  xrchandle<IShapesProxy> self = proxy->self();
  ASSERT_TRUE(self);
  EXPECT_EQ(self->getProxyId(), "shapes");
  EXPECT_TRUE(proxy->same(self));
  proxy->forget();
  EXPECT_EQ(root->forgotten, 1);
}

TEST_F(GeneratedShapes, DeclaredExceptionsArriveWithTheirFields) {
  xrcunihandle<xthrowable> raised = raisedBy([&] { proxy->fail(42, "too round"); });
  ShapeError* error = ShapeError::softcast(raised.get());
  ASSERT_NE(error, nullptr) << descriptionOf(raised.get());
  EXPECT_EQ(error->code, 42);
  EXPECT_EQ(error->reason, "too round");
  EXPECT_EQ(descriptionOf(error), "too round");  // the first string field

  raised = raisedBy([&] { proxy->fail(0, ""); });
  ASSERT_NE(Unexplained::softcast(raised.get()), nullptr) << descriptionOf(raised.get());
  EXPECT_EQ(descriptionOf(raised.get()), "Unexplained");  // no string field: the type name
}

// An xanysequence of the values, as an object value.
xany list(std::initializer_list<xany> items) {
  return xany(static_cast<xobject*>(values(items).get()));
}

// Calls by names that break the description: the skeleton answers with a fault that
// names the parameter instead of converting a value of the wrong kind.
TEST_F(GeneratedShapes, ParameterOfTheWrongKindIsAnsweredWithAFault) {
  struct Case {
    const char* method;
    std::vector<xany> params;
    std::string text;
  } cases[] = {
      {"sums",
       {proxy.get(), xint(3)},
       "the parameter groups of IShapes:sums: expected list<list<int>>, got an int"},
      {"sums", {proxy.get(), xany(static_cast<xobject*>(xanysequence::create()))}, ""},
      {"sums",
       {proxy.get(), list({list({xint(1)}), "x"})},
       "the parameter groups of IShapes:sums, an element: expected list<int>, got a string"},
      {"sums",
       {proxy.get(), list({list({xint(1), "x"})})},
       "the parameter groups of IShapes:sums, an element of an element: expected int, got a "
       "string"},
      {"scale",
       {proxy.get(), xreal(1), xlong(1), xshort(1), xint(1), xbool(1)},
       "the parameter tag of IShapes:scale: expected byte, got an int"},
      {"make",
       {proxy.get(), "x", xany(static_cast<xobject*>(new Point()))},
       "the parameter points of IShapes:make: expected list<Point>, got an object of type "
       "Point"},
  };
  for (const Case& c : cases) {
    xrchandle<xanysequence> params(xanysequence::create());
    for (const xany& v : c.params) params->append(v);
    xrcunihandle<xthrowable> raised = raisedBy(
        [&] { zubJexClient::getInstance(name.c_str())->makeCall("IShapes", c.method, params); });
    if (c.text.empty()) {
      EXPECT_FALSE(raised) << c.method << ": " << descriptionOf(raised.get());
    } else {
      EXPECT_NE(causesOf(raised.get()).find(c.text), std::string::npos) << causesOf(raised.get());
    }
  }
}

// A hand-written Point of the same layout under a name of the same length ("HandP"):
// the generated struct writes its fields in declaration order, as the hand-written one.
class HandP : public xobject {
  XOBJECT_DECLARE_RTTI()
 public:
  int x = 0, y = 0;
};
XOBJECT_DEFINE_RTTI(HandP, "HandP", xobject)
void WriteHandP(zubSerializer& out, const HandP& p) {
  out.writeInt(p.x);
  out.writeInt(p.y);
}
void ReadHandP(zubDeserializer& in, HandP& p) {
  in.readInt(p.x);
  in.readInt(p.y);
}

TEST(GeneratedStruct, WritesAndReadsTheBytesOfTheHandWrittenType) {
  typedShapesRegisterTypes();
  static const bool registered = (zubSupportRegisterType<HandP, &WriteHandP, &ReadHandP>(), true);
  (void)registered;
  xrchandle<HandP> hand(new HandP());
  hand->x = 5;
  hand->y = -6;
  btkMemOStream handOut, typedOut;
  xany handValue(static_cast<xobject*>(hand.get()));
  xany typedValue(static_cast<xobject*>(new Point(5, -6)));
  zubJEXSerializer::getInstance()->writeObject(&handOut, handValue);
  zubJEXSerializer::getInstance()->writeObject(&typedOut, typedValue);
  std::string handBytes = handOut.str();
  handBytes.replace(handBytes.find("HandP"), 5, "Point");
  EXPECT_EQ(Hex(handBytes), Hex(typedOut.str()));

  btkMemIStream in(handBytes);
  xany read;
  zubJEXSerializer::getInstance()->readObject(&in, read);
  Point* p = Point::softcast(read.toObject());
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(p->x, 5);
  EXPECT_EQ(p->y, -6);
}

}  // namespace
