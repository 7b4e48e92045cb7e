// The in-memory record of one answer to a remote call, filled by the message reader.
#ifndef ZUBJEX_MESSAGES_JEX_RESPONSE_H_
#define ZUBJEX_MESSAGES_JEX_RESPONSE_H_

#include <cstdint>
#include <utility>

#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// What a response carries. The numbers are part of the message format (written as four
// bytes). Values outside 0 to 3 pass through the records and the encoder unchanged;
// only the client judges them.
enum zubJexResponseKind : int32_t {
  zubJexResponseNone = 0,   // nothing received yet; never accepted by the client
  zubJexResponseVoid = 1,   // reply of a method without a result
  zubJexResponseValue = 2,  // reply carrying the result in the object
  zubJexResponseFault = 3,  // fault: code, text, and the detail in the object
};

// A response record. The return type is borrowed from the type registry; the object
// owns its content like every xany. Not copyable; one thread at a time. No operation
// raises errors of its own.
class ZUBJEX_EXPORT zubJexResponse {
 public:
  // Nil name, kind none, no return type, the uninit object, nil fault code and text.
  zubJexResponse();
  zubJexResponse(const zubJexResponse&) = delete;
  zubJexResponse& operator=(const zubJexResponse&) = delete;
  ~zubJexResponse();

  // The client expects the method name followed by "Response" or "Reply".
  xstring getName() const { return name; }
  void setName(xstring value) { name = std::move(value); }
  zubJexResponseKind getKind() const { return kind; }
  void setKind(zubJexResponseKind value) { kind = value; }
  // The type of the returned value; null when the response carries none.
  xrtti* getReturnType() const { return returnType; }
  void setReturnType(xrtti* value) { returnType = value; }
  // The returned value; in a fault response the fault detail.
  xany getObject() const { return object; }
  void setObject(xany value) { object = std::move(value); }
  xstring getFaultCode() const { return faultCode; }
  void setFaultCode(xstring value) { faultCode = std::move(value); }
  xstring getFaultString() const { return faultString; }
  void setFaultString(xstring value) { faultString = std::move(value); }
  // Borrowed views of the strings, for the encoder: valid while the response is
  // unchanged; no reference is taken.
  const xstring& peekName() const { return name; }
  const xstring& peekFaultCode() const { return faultCode; }
  const xstring& peekFaultString() const { return faultString; }

  // Back to the state after construction.
  void reset();

 private:
  xstring name;
  zubJexResponseKind kind;
  xrtti* returnType;
  xany object;
  xstring faultCode;
  xstring faultString;
};

#endif  // ZUBJEX_MESSAGES_JEX_RESPONSE_H_
