// How failures leave the client's entry points. Every path here writes one line to
// standard error, ends the exchange (close, when there is a transport), gives the client
// back to the pool and raises, so no entry point returns after a failure:
//
//   key worded by the message service  -> zubXSerialization "JEX Client Error: <text>."
//   fault whose detail is an exception -> the detail object itself
//   fault without one                  -> zubXSerialization of the fault's description,
//                                         cause: the fault
//   other zubXException                -> zubXSerialization of its description, cause: it
//   other xthrowable                   -> zubXSerialization of its type name, no cause
//   the call's deadline passed         -> key "zubJEX_DEADLINE_EXCEEDED" (server name),
//                                         worded as a key above, no cause
//
// A transport that raises from close or reportException on this path cannot replace
// the error being raised: what it raises there is dropped.
#include <cstdio>
#include <memory>
#include <string>

#include "client/deadline.h"
#include "client/jex_client.h"
#include "client/transport.h"
#include "errors/jex_exception.h"
#include "errors/message_service.h"
#include "messages/jex_response.h"

namespace {

constexpr const char* kClientErrorKey = "zubJEX_JEX_CLIENT_ERROR";
constexpr const char* kDeadlineKey = "zubJEX_DEADLINE_EXCEEDED";

// One whole line in a single write, so that lines of threads failing at once do not
// mix within a line.
void writeErrorLine(const xstring& text) {
  std::string line(text.CastToCString(), text.GetMBSize());
  line += '\n';
  std::fwrite(line.data(), 1, line.size(), stderr);
  std::fflush(stderr);
}

void closeIgnoringErrors(zubJexTransport* transport) {
  try {
    transport->close();
  } catch (xthrowable* t) {
    xadoptThrown(t);
  }
}

void reportIgnoringErrors(zubJexTransport* transport, zubXSerialization* error) {
  try {
    transport->reportException(xrchandle<zubXSerialization>(error));
  } catch (xthrowable* t) {
    xadoptThrown(t);
  }
}

}  // namespace

void zubJexClient::processCaught() {
  try {
    throw;
  } catch (xthrowable* t) {
    xrcunihandle<xthrowable> caught = xadoptThrown(t);
    if (zubXJexFault::isObjKindOf(caught.get())) {
      processJexFault(xrchandle<zubXJexFault>(zubXJexFault::cast(caught.get())));
    }
    processZUBException(caught);
  } catch (zubJEXException* ex) {
    processJEXException(ex);
  } catch (const zubJexDeadlineExceeded& exceeded) {
    xstring text =
        zubJexGetLocalizedMessage(getMessageService(), kDeadlineKey, exceeded.server().c_str());
    processJEXException(new zubJEXException(text));
  }
}

void zubJexClient::handleFault(const zubJexResponse* response) {
  xany detail = response->getObject();
  if (detail.isuninit()) detail = xany::Nil();
  zubXJexFault::Throw(response->getFaultCode().CastToCString(),
                      response->getFaultString().CastToCString(), detail);
}

void zubJexClient::processJexFault(xrchandle<zubXJexFault> fault) {
  xany detail = fault->getFaultDetail();
  // A detail object that is no exception cannot be raised: the fault itself is.
  xthrowable* serverException =
      detail.getKind() == xany_object ? xthrowable::cast(detail.toObject()) : nullptr;
  if (serverException == nullptr) processZUBException(xrcunihandle<xthrowable>(fault.get()));
  writeErrorLine(fault->getDescription());
  if (transport != nullptr) closeIgnoringErrors(transport);
  freeInstance(this);
  xthrow(xrcunihandle<xthrowable>(serverException));
}

void zubJexClient::processZUBException(xrcunihandle<xthrowable> thrown) {
  zubXException* ex = zubXException::softcast(thrown.get());
  xstring detailText;
  if (ex != nullptr) {
    detailText = ex->getDescription();
  } else if (thrown) {
    detailText = thrown->getZubTypeName();
  }
  xstring text = zubJexCreateExceptionMessage(getMessageService(), detailText, kClientErrorKey);
  throwS11nException(text, xrchandle<zubXException>(ex));
}

void zubJexClient::processJEXException(zubJEXException* ex) {
  std::unique_ptr<zubJEXException> owned(ex);
  xstring text = zubJexCreateExceptionMessage(getMessageService(), owned.get(), kClientErrorKey);
  owned.reset();
  throwS11nException(text, xrchandle<zubXException>());
}

void zubJexClient::throwS11nException(const xstring& text, xrchandle<zubXException> cause) {
  writeErrorLine(text);
  if (transport != nullptr) closeIgnoringErrors(transport);
  freeInstance(this);
  xrcunihandle<xthrowable> error(zubXSerialization::Create(text.CastToCString(), cause));
  if (transport != nullptr) {
    reportIgnoringErrors(transport, static_cast<zubXSerialization*>(error.get()));
  }
  xthrow(error);
}
