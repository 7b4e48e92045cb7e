#include "s11n_test_types.h"

#include "platform/exceptions.h"
#include "support/sequence_types.h"
#include "support/type_support.h"

namespace s11ntest {

int Counted::live = 0;

XOBJECT_DEFINE_RTTI(Foo, "Foo", xobject)
XOBJECT_DEFINE_RTTI(Node, "test.Node", xobject)
XOBJECT_DEFINE_RTTI(Empty, "test.Empty", xobject)
XOBJECT_DEFINE_RTTI(Tiny, "t", xobject)
XOBJECT_DEFINE_RTTI(Failing, "test.Failing", xobject)
XOBJECT_DEFINE_RTTI(Unregistered, "test.Unregistered", xobject)
XOBJECT_DEFINE_RTTI(Nameless, nullptr, xobject)

namespace {

void WriteFoo(zubSerializer& out, const Foo& foo) { out.writeInt(foo.value); }
void ReadFoo(zubDeserializer& in, Foo& foo) { in.readInt(foo.value); }

void WriteNode(zubSerializer& out, const Node& node) {
  out.writeInt(node.id);
  out.writeObject(node.child.get());
}
void ReadNode(zubDeserializer& in, Node& node) {
  in.readInt(node.id);
  xobject* child = nullptr;
  in.readObject(child);
  if (child != nullptr && !child->isKindOf(Node::getClassRtti())) {
    xrcdisposeUnreferenced(child);
    xthrowException("child is no node");
  }
  node.child = static_cast<Node*>(child);
}

void WriteFailing(zubSerializer& out, const Failing&) { out.writeInt(1); }
void ReadFailing(zubDeserializer& in, Failing&) {
  int ignored = 0;
  in.readInt(ignored);
  xthrowException("broken contents");
}

}  // namespace

void RegisterTestTypes() {
  static const bool done = [] {
    zubSupportRegisterSequenceTypes();
    zubSupportRegisterType<Foo, &WriteFoo, &ReadFoo>();
    zubSupportRegisterType<Node, &WriteNode, &ReadNode>();
    zubSupportRegisterType<Failing, &WriteFailing, &ReadFailing>();
    zubSupportRegisterDescriptor(
        Empty::getClassRtti(),
        new zubBinS11nRttiInterface(&zubSupportCreate<Empty>, &zubSupportCast<Empty>, nullptr,
                                    nullptr));
    zubSupportRegisterDescriptor(
        Tiny::getClassRtti(), new zubBinS11nRttiInterface(&zubSupportCreate<Tiny>,
                                                          &zubSupportCast<Tiny>, nullptr, nullptr));
    return true;
  }();
  (void)done;
}

xrchandle<Node> Chain(int depth) {
  xrchandle<Node> outer;
  for (int id = depth; id >= 1; --id) {
    xrchandle<Node> n(new Node());
    n->id = id;
    n->child = outer;
    outer = n;
  }
  return outer;
}

}  // namespace s11ntest
