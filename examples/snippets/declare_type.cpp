#include "platform/xobject.h"          // xobject, XOBJECT_DECLARE_RTTI, XOBJECT_DEFINE_RTTI
#include "serialization/serializer.h"  // zubSerializer, zubDeserializer
#include "support/type_support.h"      // zubSupportRegisterType

class Point : public xobject {
  XOBJECT_DECLARE_RTTI()
 public:
  int x = 0, y = 0;
};
XOBJECT_DEFINE_RTTI(Point, "Point", xobject)

void WritePoint(zubSerializer& out, const Point& p) {
  out.writeInt(p.x);
  out.writeInt(p.y);
}
void ReadPoint(zubDeserializer& in, Point& p) {
  in.readInt(p.x);
  in.readInt(p.y);
}

void RegisterPoint() {  // once, before the first call that carries a Point
  zubSupportRegisterType<Point, &WritePoint, &ReadPoint>();
}
