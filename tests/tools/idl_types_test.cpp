// Objects of types described at run time against the classes jexgen generates from the
// same description: the same bytes both ways, every kind of field included.
#include "idl_types.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json_printer.h"
#include "load.h"
#include "messages/jex_serializer.h"
#include "platform/memory_streams.h"
#include "platform/sequences.h"
#include "serialization/descriptors.h"
#include "typed_shapes.jex.h"
#include "value_literal.h"
#include "value_printer.h"

namespace {

std::string Write(xany value) {
  btkMemOStream out;
  zubJEXSerializer::getInstance()->writeObject(&out, value);
  return out.str();
}

xany Read(const std::string& bytes) {
  btkMemIStream in(bytes);
  xany value;
  zubJEXSerializer::getInstance()->readObject(&in, value);
  return value;
}

class IdlTypesTest : public ::testing::Test {
 protected:
  // Written by the generated classes, before the description replaces them by name.
  static void SetUpTestSuite() {
    typedShapesRegisterTypes();
    xrchandle<xanysequence> bag(xanysequence::create());
    bag->append(xany(xint(4)));
    xrchandle<xstringsequence> notes(xstringsequence::create());
    notes->append("n");
    xrchandle<Shape> shape(new Shape("tri", true, -3, 300, 1LL << 40, 0.5, xany("extra"),
                                     {xrchandle<Point>(new Point(1, 2))}, {"a", "b"}, {{1}, {2, 3}},
                                     notes, bag, xrchandle<Point>(new Point(5, 6)),
                                     xrchandle<xobject>()));
    shapeBytes_ = Write(xany(static_cast<xobject*>(shape.get())));
    pointBytes_ = Write(xany(static_cast<xobject*>(xrchandle<Point>(new Point(1, -2)).get())));
    emptyShapeBytes_ = Write(xany(static_cast<xobject*>(xrchandle<Shape>(new Shape()).get())));
    errorBytes_ =
        Write(xany(static_cast<xobject*>(xrchandle<ShapeError>(new ShapeError(7, "bad")).get())));

    jexgen::Loaded loaded = jexgen::loadDescription(TOOLS_TEST_JEX_DIR "/typed_shapes.jex");
    ASSERT_TRUE(loaded.doc);
    // The generated descriptors stay reachable (never freed, as descriptors are) once the
    // description takes their names.
    static auto* replaced = new std::vector<zubBinS11nRtti*>();
    for (const jexgen::Definition& d : loaded.doc->definitions) {
      replaced->push_back(zubBinS11nRttiGetDescriptor(d.name.c_str()));
    }
    jextools::IdlRegister(std::move(loaded.doc));
  }

  static std::string shapeBytes_, pointBytes_, emptyShapeBytes_, errorBytes_;
};

std::string IdlTypesTest::shapeBytes_, IdlTypesTest::pointBytes_, IdlTypesTest::emptyShapeBytes_,
    IdlTypesTest::errorBytes_;

TEST_F(IdlTypesTest, ReadsAndWritesTheBytesOfTheGeneratedClasses) {
  for (const std::string* bytes : {&shapeBytes_, &pointBytes_, &emptyShapeBytes_, &errorBytes_}) {
    xany value = Read(*bytes);
    ASSERT_NE(jextools::IdlFieldsOf(value.toObject()), nullptr);
    EXPECT_EQ(Write(value), *bytes);
  }
  xany shape = Read(shapeBytes_);
  EXPECT_EQ(PrintValue(shape),
            "Shape{name=\"tri\", closed=bool 1, tag=byte -3, layer=short 300, id=1099511627776L, "
            "scale=0.5, extra=\"extra\", points=[Point{x=1, y=2}], labels=[\"a\", \"b\"], "
            "groups=[[1], [2, 3]], notes=[\"n\"], bag=[4], origin=Point{x=5, y=6}, owner=nil}");
  EXPECT_EQ(PrintJson(Read(pointBytes_)),
            "{\"type\": \"Point\", \"fields\": {\"x\": 1, \"y\": -2}}");
  xany error = Read(errorBytes_);
  EXPECT_EQ(zubXException::softcast(error.toObject())->getDescription(), "bad");
}

TEST_F(IdlTypesTest, ObjectsWrittenAsLiteralsHaveTheGeneratedBytes) {
  EXPECT_EQ(Write(jextools::ParseLiteral("Point{x=1, y=-2}", "", nullptr)), pointBytes_);
  EXPECT_EQ(Write(jextools::ParseLiteral("Shape{}", "", nullptr)), emptyShapeBytes_);
  EXPECT_EQ(Write(jextools::ParseLiteral(
                "Shape{name=tri, closed=true, tag=-3, layer=300, id=1099511627776L, scale=0.5, "
                "extra=\"extra\", points=[Point{x=1,y=2}], labels=[a, b], groups=[[1],[2,3]], "
                "notes=strings[n], bag=[4], origin=Point{x=5, y=6}}",
                "", nullptr)),
            shapeBytes_);
}

}  // namespace
