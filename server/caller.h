// Who made the call that a method handler runs, so that a server can decide who may
// call what:
//
//   methods.add("shutdown", [](xobject*, zubJexCall&) -> xany {
//     if (zubJexCurrentCaller().certificateSubject != "CN=operator,O=example")
//       xthrowException("not allowed");
//     ...
//   });
#ifndef ZUBJEX_SERVER_CALLER_H_
#define ZUBJEX_SERVER_CALLER_H_

#include <string>

#include "server/export.h"

// The client of one connection.
struct zubJexCaller {
  // The client's "host:port"; empty for calls that came through no network.
  std::string address;
  // The subject of the certificate that the client presented and the server verified,
  // in RFC 2253 form ("CN=someone,O=somewhere"); empty without TLS or when the server
  // asks for no client certificate (zubJexServerTlsOptions::clientCaFile).
  std::string certificateSubject;
};

// The caller of the call that the current thread runs. Valid in a method handler of a
// server (zubJexTcpServer) until it returns; elsewhere (other threads, the loopback
// transport) a caller with every field empty.
ZUBJEX_SERVER_EXPORT const zubJexCaller& zubJexCurrentCaller();

#endif  // ZUBJEX_SERVER_CALLER_H_
