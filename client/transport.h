// The host's side of a connection: the factory that makes one transport per client,
// and the transport that carries the bytes of each request and response.
//
// One exchange, as the client drives it:
//   open(server)                      once, right after createTransport
//   startOutput -> write -> finishOutput
//       finishOutput 2: close, then the whole request again from startOutput
//   startInput -> read                (not for one-way calls)
//   close                             end of the exchange; the next starts at startOutput
// On a failure the client calls close, gives itself back to the pool, and then calls
// reportException with the error it is about to raise. disconnect comes once, at unload,
// just before the transport is deleted.
//
// What every transport must do on that failure path: close is the end of the exchange,
// normal or failed, and the only place to clean up after it. When the exchange did not
// end cleanly (the request not wholly sent, the response not wholly read, any error on
// the way), close drops the connection, so that the next exchange cannot read the rest
// of an earlier response. reportException only learns of the error: by then the client
// may already belong to another thread that is using the transport, so it must touch no
// connection or exchange state.
#ifndef ZUBJEX_CLIENT_TRANSPORT_H_
#define ZUBJEX_CLIENT_TRANSPORT_H_

#include "platform/exceptions.h"
#include "platform/handles.h"
#include "platform/streams.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// The status that finishOutput returns. Any value other than these counts as done.
enum zubJexFinishStatus {
  zubJexFinishDone = 0,    // the request is sent
  zubJexFinishFailed = 1,  // the call fails with "zubJEX_FAILED_FINISH_CALL"
  zubJexFinishResend = 2,  // the client closes and writes the whole request again
};

// A connection to one server, owned by exactly one client from its first call until
// the client is deleted. It is used by one thread at a time (the thread holding its
// client) with no lock held by the library. Any operation may raise an xthrowable,
// which fails the call in progress like any other error.
class ZUBJEX_EXPORT zubJexTransport {
 public:
  // Called once with the client's server name; afterwards the transport serves
  // exchanges. A transport whose open raised is kept and used for the next call
  // without another open, so it must be able to recover in startOutput.
  virtual void open(xstring serverName) = 0;
  // A stream for one whole request, borrowed until finishOutput; null fails the call
  // with "zubJEX_FAILED_GET_REQUEST".
  virtual btkOStream* startOutput() = 0;
  // Completes and sends the request; see zubJexFinishStatus.
  virtual int finishOutput() = 0;
  // A stream holding the response to the request just sent, borrowed until the
  // response is read; null fails the call with "zubJEX_FAILED_GET_RESPONSE".
  virtual btkIStream* startInput() = 0;
  // Ends the current exchange, normal or failed. When the exchange did not end cleanly,
  // drops whatever the next exchange could otherwise inherit (the connection, buffered
  // bytes). Called before the client goes back to the pool.
  virtual void close() = 0;
  // Called once, just before the transport is deleted. The default does nothing.
  virtual void disconnect();
  // Handed the error that the client is about to raise to its caller, after close and
  // after the client went back to the pool: another thread may be using this transport
  // at the same time, so an override may only record or log the error, never touch the
  // connection or the exchange. The default does nothing.
  virtual void reportException(xrchandle<zubXSerialization> error);
  virtual ~zubJexTransport();
};

// Makes the transports of the clients whose configuration names it. Owned by the host,
// which keeps it alive while clients may still make their first call. createTransport
// may run on several threads at once, for different clients, with no lock held.
class ZUBJEX_EXPORT zubJexTransportFactory {
 public:
  // A new transport, which the calling client owns and deletes; null fails the call
  // with "zubJEX_FAILED_CREATE_TRANSPORT".
  virtual zubJexTransport* createTransport() = 0;
  virtual ~zubJexTransportFactory();
};

#endif  // ZUBJEX_CLIENT_TRANSPORT_H_
