// The JEX message encoder: call, response and standalone object messages in the
// "bins11n" encoding.
//
// Message grammar (string, any and object as in serialization/bin_serializer.h; no
// length, version or checksum: a reader knows the end only by parsing):
//   call      string "JEXCall", string method name, string return type name (nil: none),
//             any parameter names (an xstringsequence object), any parameter values (an
//             xanysequence object), byte one-way flag (00|01), byte 0A
//   response  string "JEXResponse", string name, 4 bytes kind (little-endian), string
//             return type name, any value, string fault code, string fault text, byte 0A
//   object    string "JEXObject", any value
// In call and response messages every object of a remote interface type is followed by
// its identifier (messages/proxy_listeners.h); object messages carry no identifiers.
#ifndef ZUBJEX_MESSAGES_JEX_SERIALIZER_H_
#define ZUBJEX_MESSAGES_JEX_SERIALIZER_H_

#include "messages/jex_call.h"
#include "messages/jex_response.h"
#include "messages/proxy_map.h"
#include "platform/streams.h"
#include "platform/xany.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// Every operation raises a zubXSerialization on failure ("failed to write a call",
// "failed to read a call", "failed to write a response", "failed to read a response",
// "failed to write an object", "failed to read an object.") whose cause is the
// zubXException that stopped it, such as "invalid parameters" (a null proxy map, a nil
// server URL), "invalid call format" / "invalid response format" / "invalid object
// format" (a wrong tag), "invalid parameter names" / "invalid parameter values" (a
// value other than nil or an object where a sequence belongs), or an error of the
// serializer, the stream or the proxy map. Nothing is undone: bytes written stay
// written, bytes read stay consumed; but a failed readCall or readResponse leaves its
// record unchanged.
//
// The instance is stateless after creation: any number of threads may run operations
// at once on different streams and records. The proxy map is borrowed; `serverUrl`
// names the server as the client knows it and becomes the server URL of proxies read.
class ZUBJEX_EXPORT zubJEXSerializer {
 public:
  // The process-wide encoder, made on the first call (safe from several threads at
  // once) and never destroyed.
  static zubJEXSerializer* getInstance();

  void writeCall(btkOStream* stream, zubJexCall& call, zubJexProxyMap* proxyMap);
  void readCall(btkIStream* stream, zubJexCall& call, zubJexProxyMap* proxyMap, xstring serverUrl);
  void writeResponse(btkOStream* stream, zubJexResponse& response, zubJexProxyMap* proxyMap);
  void readResponse(btkIStream* stream, zubJexResponse& response, zubJexProxyMap* proxyMap,
                    xstring serverUrl);
  // Proxies inside `value` travel without their identifiers.
  void writeObject(btkOStream* stream, xany& value);
  // Reads straight into `value`: after a failure it holds what the value reader left.
  void readObject(btkIStream* stream, xany& value);

 private:
  zubJEXSerializer();
  zubJEXSerializer(const zubJEXSerializer&) = delete;
  zubJEXSerializer& operator=(const zubJEXSerializer&) = delete;

  const xstring objectTag;
  const xstring callTag;
  const xstring responseTag;
};

#endif  // ZUBJEX_MESSAGES_JEX_SERIALIZER_H_
