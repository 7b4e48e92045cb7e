// The harness's payload as a JEX call message: the call "Calc:add" (interface and
// method joined by a colon) with the parameters a (int), b (long), s (string) and v (a
// sequence of ints), written with zubJEXSerializer::writeCall into a reused memory
// stream and read back with readCall into owned values.
#pragma once
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

#include "messages/jex_serializer.h"
#include "messages/proxy_map.h"
#include "payload.h"
#include "platform/memory_streams.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "support/sequence_types.h"

struct TeamCodec {
  static constexpr const char* kName = "zubjex";
  using Out = anchors::Call;

  // The payload holds no proxies: the map is never asked.
  struct NoProxies : zubJexProxyMap {
    xstring getObjectId(xrcunihandle<xobject>) override { return xstring(); }
    xrcunihandle<xobject> findObject(const xstring&) override { return {}; }
  };

  NoProxies proxyMap;
  btkMemOStream out;
  // Made once, as a generated client keeps its method's names.
  const xstring server{"calc"};
  const xstring names[4] = {"a", "b", "s", "v"};

  TeamCodec() { zubSupportRegisterSequenceTypes(); }

  void encode(const anchors::Call& c) {
    xrchandle<xanysequence> v(xanysequence::create());
    for (int32_t x : c.v) v->append(xint{x});
    zubJexCall call;
    call.setName(xstring((c.iface + ":" + c.method).c_str()));
    call.setReturnType(zubGetRtti_int());
    call.addParam(names[0], xint{c.a});
    call.addParam(names[1], xlong{c.b});
    call.addParam(names[2], xstring(c.s.data(), c.s.size()));
    call.addParam(names[3], xany(static_cast<xobject*>(v.get())));
    out.Clear();
    zubJEXSerializer::getInstance()->writeCall(&out, call, &proxyMap);
  }
  const uint8_t* data() const { return out.data(); }
  size_t size() const { return out.size(); }

  void decode(const uint8_t* p, size_t n, Out& o) {
    btkMemIStream in(p, n);
    zubJexCall call;
    zubJEXSerializer::getInstance()->readCall(&in, call, &proxyMap, server);
    const xstring name = call.getName();
    const char* text = name.CastToCString();
    const char* colon = std::strchr(text, ':');
    if (colon == nullptr) throw std::runtime_error("call name without interface");
    o.iface.assign(text, static_cast<size_t>(colon - text));
    o.method.assign(colon + 1);
    xrchandle<xanysequence> values = call.getParamValues();
    if (!values || values->getCount() != 4) throw std::runtime_error("parameters");
    const xany a = values->getAt(0), b = values->getAt(1), s = values->getAt(2),
               v = values->getAt(3);
    if (a.getKind() != xany_int || b.getKind() != xany_long || s.getKind() != xany_string ||
        v.getKind() != xany_object) {
      throw std::runtime_error("parameter kinds");
    }
    o.a = a.toInt();
    o.b = b.toLong();
    const xstring str = s.toString();
    o.s.assign(str.CastToCString(), str.GetMBSize());
    xanysequence* list = xanysequence::softcast(v.toObject());
    if (list == nullptr) throw std::runtime_error("list");
    const int32_t count = list->getCount();
    o.v.resize(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
      const xany e = list->getAt(i);
      // INT32_MIN is the runtime's nil marker of ints: it travels as nil and converts back.
      if (e.getKind() != xany_int && e.getKind() != xany_nil) {
        throw std::runtime_error("list element");
      }
      o.v[static_cast<size_t>(i)] = e.toInt();
    }
  }

  static bool check(const Out& o) { return anchors::same_call(o, anchors::payload()); }
};
