// The message service: turns a failure's key ("zubJEX_FAILED_GET_REQUEST" and alike)
// and up to five string arguments into a text, and the functions that compose and raise
// the library's worded failures.
//
// Keys of the built-in service and their texts ("%s" marks an argument):
//   zubJEX_JEX_CLIENT_ERROR               "JEX Client Error: %s."
//   zubJEX_UNKNOWN_EXCEPTION              "Unknown exception"
//   zubJEX_INVALID_PROXY_DESCR            "Invalid s11n descriptor for proxy of ZUB type %s"
//   zubJEX_MISSING_S11N_DESCR             "Missing s11n descriptor for ZUB type %s"
//   zubJEX_INVALID_RESPONSE_KIND          "Invalid JEX response kind"
//   zubJEX_INVALID_RESPONSE_NAME          "Invalid JEX response name"
//   zubJEX_FAILED_GET_REQUEST             "Failed to open JEX RPC call request stream"
//   zubJEX_FAILED_GET_RESPONSE            "Failed to open JEX RPC call response stream"
//   zubJEX_FAILED_FINISH_CALL             "Failed to finish writing JEX call request"
//   zubJEX_FAILED_CREATE_CALL             "Failed to generate RPC call for method "%s" of ZUB
//                                          interface %s"  (method name, interface type name)
//   zubJEX_VALUE_IN_VOID_METHOD_RESPONSE  "JEX call to void method returned a value"
//   zubJEX_MISSING_RETURN_VALUE           "JEX call is expected to return a value of ZUB type %s"
//   zubJEX_MISSING_TRANSPORT_FACTORY      "No JEX transport factory is configured for server %s"
//   zubJEX_FAILED_CREATE_TRANSPORT        "The JEX transport factory made no transport for server
//                                          %s"  (the server name, both)
//   zubJEX_DEADLINE_EXCEEDED              "JEX call to %s exceeded its deadline"  (the server
//                                          name)
#ifndef ZUBJEX_ERRORS_MESSAGE_SERVICE_H_
#define ZUBJEX_ERRORS_MESSAGE_SERVICE_H_

#include "errors/jex_exception.h"
#include "platform/dictionaries.h"
#include "platform/handles.h"
#include "platform/sequences.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// Words a failure. A host may supply its own service (through its configuration) to
// localise or reword texts; the host owns it, it must outlive every client that uses
// it, and it is called from whatever thread fails, so it must be safe for that. The
// library never destroys a service, hence no virtual destructor.
class ZUBJEX_EXPORT zubMessageService {
 public:
  // The text for `key` formatted with `args` (never a null handle, possibly empty).
  // An empty answer lets zubJexGetLocalizedMessage fall back to the built-in text.
  virtual xstring getLocalizedMessage(xstring key, xrchandle<xstringsequence> args) = 0;

 protected:
  ~zubMessageService() = default;
};

// The built-in English texts. The table is complete when the constructor returns and
// only read afterwards, so the service may be used from any number of threads.
class ZUBJEX_EXPORT zubJexDefaultMessageService : public zubMessageService {
 public:
  zubJexDefaultMessageService();

  // A key missing from the table gives the key itself. With no argument the text comes
  // back unformatted ("%s" stays); with 1 to 5 every "%s" takes the next argument; with
  // more than 5 the key itself comes back.
  xstring getLocalizedMessage(xstring key, xrchandle<xstringsequence> args) override;

 private:
  xrchandle<xstringdictionary> texts;
};

// The process-wide built-in service, made on first use (under its own plain mutex) and
// never destroyed.
ZUBJEX_EXPORT zubMessageService* zubBINgetDefaultMsgService();

// The text for `key` with the arguments a1..a5, worded by `service` (null: the default
// service). The arguments end at the first nil string; "" is an argument like any
// other. When a host's service answers with an empty text, the built-in one is used.
// Never nil: a nil answer becomes "". Raises nothing of its own.
ZUBJEX_EXPORT xstring zubJexGetLocalizedMessage(zubMessageService* service, xstring key,
                                                xstring a1 = xstring(), xstring a2 = xstring(),
                                                xstring a3 = xstring(), xstring a4 = xstring(),
                                                xstring a5 = xstring());

// The text for `key` with `text` as its only argument (a nil `text`: no argument).
ZUBJEX_EXPORT xstring zubJexCreateExceptionMessage(zubMessageService* service, xstring text,
                                                   xstring key);
// As above with a copy of the exception's message; `ex` is not deleted and must not be
// null.
ZUBJEX_EXPORT xstring zubJexCreateExceptionMessage(zubMessageService* service, zubJEXException* ex,
                                                   xstring key);

// Words the failure like zubJexGetLocalizedMessage and raises it as a new
// `zubJEXException*`, which the catcher owns. Never returns.
[[noreturn]] ZUBJEX_EXPORT void zubJexThrowException(zubMessageService* service, xstring key,
                                                     xstring a1 = xstring(), xstring a2 = xstring(),
                                                     xstring a3 = xstring(), xstring a4 = xstring(),
                                                     xstring a5 = xstring());

#endif  // ZUBJEX_ERRORS_MESSAGE_SERVICE_H_
