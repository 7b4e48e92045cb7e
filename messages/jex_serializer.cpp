#include "messages/jex_serializer.h"

#include <cstdint>
#include <utility>

#include "messages/proxy_listeners.h"
#include "platform/exceptions.h"
#include "platform/handles.h"
#include "platform/rtti_registry.h"
#include "platform/sequences.h"
#include "serialization/bin_serializer.h"

namespace {

constexpr unsigned char kEndByte = 0x0A;

// Runs `body`; a framework exception that escapes it is raised again as a
// zubXSerialization with `text` and the exception as its cause.
template <class Body>
void WrapFailures(const char* text, Body&& body) {
  try {
    body();
  } catch (xthrowable* thrown) {
    xrcunihandle<xthrowable> caught = xadoptThrown(thrown);
    zubXSerialization::Throw(text, xrchandle<zubXException>(zubXException::softcast(caught.get())));
  }
}

xstring ReturnTypeName(const xrtti* returnType) {
  return returnType != nullptr ? returnType->getName() : xstring();
}

void ReadTag(zubBinDeserializer& in, const xstring& expected, const char* mismatch) {
  if (!in.readTextEquals(expected)) xthrowException(mismatch);
}

// Reads a value that must hold a sequence object of type `Seq` or nil: the sequence, or a
// null handle for nil or an object of another class (which is freed). Any other kind is
// refused with `refusal` (converting it to an object would end the process).
template <class Seq>
xrchandle<Seq> ReadSequence(zubBinDeserializer& in, const char* refusal) {
  xobject* object = nullptr;
  if (!in.readObjectValue(object)) xthrowException(refusal);
  Seq* seq = in.plainSequenceAs<Seq>(object);
  if (seq == nullptr) seq = Seq::softcast(object);
  if (seq == nullptr) xrcdisposeUnreferenced(object);
  return xrchandle<Seq>(seq);
}

// The fields outside the "bins11n" values (flags, kind, end byte) go straight to the
// stream, as the serializer writes its own bytes (a memory stream without a virtual
// call), never through operations that a derived class could change.
void WriteByte(zubBinSerializer& out, unsigned char byte) { out.zubBinSerializer::writeBool(byte); }

unsigned char ReadByte(zubBinDeserializer& in) {
  unsigned char byte = 0;
  in.zubBinDeserializer::readBool(byte);
  return byte;
}

}  // namespace

zubJEXSerializer::zubJEXSerializer()
    : objectTag("JEXObject"), callTag("JEXCall"), responseTag("JEXResponse") {}

zubJEXSerializer* zubJEXSerializer::getInstance() {
  static zubJEXSerializer* const instance = new zubJEXSerializer();
  return instance;
}

void zubJEXSerializer::writeCall(btkOStream* stream, zubJexCall& call, zubJexProxyMap* proxyMap) {
  WrapFailures("failed to write a call", [&] {
    zubBinSerializer out(stream);
    zubJEXSerializerObjectListener listener(proxyMap);
    out.registerProxyListener(&listener);
    out.writeText(callTag);
    out.writeText(call.peekName());
    out.writeText(ReturnTypeName(call.getReturnType()));
    out.writeObjectValue(call.peekParamNames());
    out.writeObjectValue(call.peekParamValues());
    WriteByte(out, call.getIsAsync() ? 1 : 0);
    WriteByte(out, kEndByte);
  });
}

void zubJEXSerializer::readCall(btkIStream* stream, zubJexCall& call, zubJexProxyMap* proxyMap,
                                xstring serverUrl) {
  WrapFailures("failed to read a call", [&] {
    zubBinDeserializer in(stream);
    zubJEXDeserializerObjectListener listener(proxyMap, std::move(serverUrl));
    in.registerProxyListener(&listener);
    ReadTag(in, callTag, "invalid call format");
    xstring name;
    in.readString(name);
    xrtti* returnType = in.readTypeByName();
    xrchandle<xstringsequence> names = ReadSequence<xstringsequence>(in, "invalid parameter names");
    xrchandle<xanysequence> values = ReadSequence<xanysequence>(in, "invalid parameter values");
    const unsigned char isAsync = ReadByte(in);
    ReadByte(in);  // the end byte, not examined

    call.setName(std::move(name));
    call.setReturnType(returnType);
    call.setParamNames(std::move(names));
    call.setParamValues(std::move(values));
    call.setIsAsync(isAsync != 0);
  });
}

void zubJEXSerializer::writeResponse(btkOStream* stream, zubJexResponse& response,
                                     zubJexProxyMap* proxyMap) {
  WrapFailures("failed to write a response", [&] {
    zubBinSerializer out(stream);
    zubJEXSerializerObjectListener listener(proxyMap);
    out.registerProxyListener(&listener);
    out.writeText(responseTag);
    out.writeText(response.peekName());
    const int32_t kind = response.getKind();
    out.zubBinSerializer::writeInt(kind);
    out.writeText(ReturnTypeName(response.getReturnType()));
    out.writeValue(response.getObject());
    out.writeText(response.peekFaultCode());
    out.writeText(response.peekFaultString());
    WriteByte(out, kEndByte);
  });
}

void zubJEXSerializer::readResponse(btkIStream* stream, zubJexResponse& response,
                                    zubJexProxyMap* proxyMap, xstring serverUrl) {
  WrapFailures("failed to read a response", [&] {
    zubBinDeserializer in(stream);
    zubJEXDeserializerObjectListener listener(proxyMap, std::move(serverUrl));
    in.registerProxyListener(&listener);
    ReadTag(in, responseTag, "invalid response format");
    xstring name;
    in.readString(name);
    int32_t kind = 0;
    in.zubBinDeserializer::readInt(kind);
    xrtti* returnType = in.readTypeByName();
    xany object;
    in.readValue(object);
    xstring faultCode;
    in.readString(faultCode);
    xstring faultString;
    in.readString(faultString);
    ReadByte(in);  // the end byte, not examined

    response.setName(std::move(name));
    response.setKind(static_cast<zubJexResponseKind>(kind));
    response.setReturnType(returnType);
    response.setObject(std::move(object));
    response.setFaultCode(std::move(faultCode));
    response.setFaultString(std::move(faultString));
  });
}

void zubJEXSerializer::writeObject(btkOStream* stream, xany& value) {
  WrapFailures("failed to write an object", [&] {
    zubBinSerializer out(stream);
    out.writeText(objectTag);
    out.writeAny(value);
  });
}

void zubJEXSerializer::readObject(btkIStream* stream, xany& value) {
  WrapFailures("failed to read an object.", [&] {
    zubBinDeserializer in(stream);
    ReadTag(in, objectTag, "invalid object format");
    in.readAny(value);
  });
}
