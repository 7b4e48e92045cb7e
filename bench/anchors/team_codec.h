// The harness's payload as a JEX call message: the call "Calc:add" (interface and
// method joined by a colon) with the parameters a (int), b (long), s (string) and v (a
// sequence of ints), written with zubJEXSerializer::writeCall into a reused memory
// stream and read back with readCall into owned values.
#pragma once
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

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
  const xstring server{"calc"};
  // One call record, made once and refilled for every encode, as the protobuf codec
  // clears and refills its one message: a generated client keeps its method's name and
  // parameter names, and refilling the sequences keeps the room they made.
  std::string iface, method;
  zubJexCall call;
  xrchandle<xanysequence> values;
  xrchandle<xanysequence> list;

  TeamCodec() : values(xanysequence::create()), list(xanysequence::create()) {
    zubSupportRegisterSequenceTypes();
    xrchandle<xstringsequence> names(xstringsequence::create());
    for (const char* n : {"a", "b", "s", "v"}) names->append(n);
    call.initialize(xstring(), zubGetRtti_int(), names, values, false);
  }

  void encode(const anchors::Call& c) {
    if (c.iface != iface || c.method != method) {
      iface = c.iface;
      method = c.method;
      call.setName(xstring((iface + ":" + method).c_str()));
    }
    list->clear();
    for (int32_t x : c.v) list->append(xint{x});
    values->clear();
    values->append(xint{c.a});
    values->append(xlong{c.b});
    values->append(xstring(c.s.data(), c.s.size()));
    values->append(xany(static_cast<xobject*>(list.get())));
    out.Clear();
    zubJEXSerializer::getInstance()->writeCall(&out, call, &proxyMap);
  }
  const uint8_t* data() const { return out.data(); }
  size_t size() const { return out.size(); }

  void decode(const uint8_t* p, size_t n, Out& o) {
    btkMemIStream in(p, n);
    zubJexCall call;
    zubJEXSerializer::getInstance()->readCall(&in, call, &proxyMap, server);
    const xstring& name = call.peekName();
    const char* text = name.CastToCString();
    const char* colon = std::strchr(text, ':');
    if (colon == nullptr) throw std::runtime_error("call name without interface");
    o.iface = std::string(text, static_cast<size_t>(colon - text));
    o.method = std::string(colon + 1, name.GetMBSize() - o.iface.size() - 1);
    const xanysequence* values = call.peekParamValues();
    if (values == nullptr || values->getCount() != 4) throw std::runtime_error("parameters");
    const xany &a = values->itemAt(0), &b = values->itemAt(1), &s = values->itemAt(2),
               &v = values->itemAt(3);
    if (a.getKind() != xany_int || b.getKind() != xany_long || s.getKind() != xany_string ||
        v.getKind() != xany_object) {
      throw std::runtime_error("parameter kinds");
    }
    o.a = a.toInt();
    o.b = b.toLong();
    o.s = std::string(s.stringText(), s.stringSize());
    xanysequence* list = xanysequence::softcast(v.toObject());
    if (list == nullptr) throw std::runtime_error("list");
    o.v.reserve(static_cast<size_t>(list->getCount()));
    for (const xany& e : *list) {
      // INT32_MIN is the runtime's nil marker of ints: it travels as nil and converts back.
      if (e.getKind() != xany_int && e.getKind() != xany_nil) {
        throw std::runtime_error("list element");
      }
      o.v.push_back(e.toInt());
    }
  }

  static bool check(const Out& o) { return anchors::same_call(o, anchors::payload()); }
};
