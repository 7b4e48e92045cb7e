// The client of a remote server: the host's only way to make a remote call.
//
// Use:
//   zubJexClient::setServerConfig("calc", config);       // once, before any call
//   zubJexClient::setServerProxyMap("calc", &proxyMap);  // once, before any call
//   zubJexClient* client = zubJexClient::getInstance("calc");
//   xany sum = client->makeCall("ICalc", "add", params);  // gives the client back
//
// A client from getInstance is the caller's for exactly one makeCall or makeVoidCall,
// which returns it to the pool at its end, normally or by raising; the pointer is not
// used again afterwards. A client taken for anything else (getRootObject, say) is given
// back with freeInstance.
//
// What the entry points raise (always as an `xthrowable*`, never anything else of the
// library's own): a zubXSerialization whose description is "JEX Client Error: <text>."
// (worded by the configuration's message service), whose cause is the underlying
// zubXException when there was one; or, when a server fault carries an exception
// object, that object itself. Each such failure also writes one line to standard error.
#ifndef ZUBJEX_CLIENT_JEX_CLIENT_H_
#define ZUBJEX_CLIENT_JEX_CLIENT_H_

#include "client/jex_config.h"
#include "platform/exceptions.h"
#include "platform/handles.h"
#include "platform/sequences.h"
#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

class btkIStream;
class btkOStream;
class zubJEXException;
class zubJEXSerializer;
class zubJexCall;
class zubJexProxyMap;
class zubJexResponse;
class zubJexTransport;
class zubMessageService;
template <class T>
class zubJexMapPool;

// The log area of the call path ("ZUBJEX"); its records are written at level 3 only.
// Made when the library is loaded, never destroyed.
ZUBJEX_EXPORT extern void* ZUBJEX_LOG_AREA;

class ZUBJEX_EXPORT zubJexClient {
 public:
  // ---- Registry (thread-safe unless noted) ----

  // A client of the server, marked in use: the first free one in the order of their
  // making, or a new one. A new client takes its configuration now, from the server's
  // entry or else the default one; later changes of either never reach it.
  static zubJexClient* getInstance(const char* serverName);
  // Gives a client back without a call. Giving back a free client leaves it free.
  static void freeInstance(zubJexClient* client);

  // The configuration of servers without one of their own. Not locked: set it before
  // any client exists.
  static zubJexConfig getDefaultConfig();
  static void setDefaultConfig(const zubJexConfig& config);
  // The server's own configuration (a copy), or one with both pointers null when it
  // has none; it does not fall back to the default.
  static zubJexConfig getServerConfig(const char* serverName);
  static void setServerConfig(const char* serverName, const zubJexConfig& config);
  // The map by which the host's objects and the ids of the server's objects travel to
  // and from that server; borrowed, may be null. Every call needs one: without it
  // writing the request fails.
  static zubJexProxyMap* getServerProxyMap(const char* serverName);
  static void setServerProxyMap(const char* serverName, zubJexProxyMap* map);

  // A copy of the configuration fixed when the client was made.
  zubJexConfig getConfig();

  // ---- Calls: each gives the client back to the pool, normally or by raising ----

  // Performs a prepared call and returns the server's value (nil when the server sent
  // nil). The record stays the caller's and is only read; its one-way flag is ignored.
  xany makeCall(zubJexCall* call);
  // Builds the call from the interface's proxy descriptor, then as above. Releases
  // `params` before returning or raising.
  xany makeCall(const char* interfaceName, const char* methodName, xrchandle<xanysequence> params);
  // As makeCall, for a method without a result. A one-way call returns as soon as the
  // request is finished, without reading any response.
  void makeVoidCall(zubJexCall* call);
  void makeVoidCall(const char* interfaceName, const char* methodName,
                    xrchandle<xanysequence> params);

  // ---- Root object ----

  // A new proxy of the remote interface `typeName` bound to this client's server and
  // the id `proxyId`, made locally: no exchange, the transport is not touched, and the
  // client stays in use (give it back with freeInstance). On failure (no proxy
  // descriptor for the type) it raises like a call and the client goes back.
  xrcunihandle<xobject> getRootObject(const char* typeName, const char* proxyId);

  // Disconnects and deletes the transport. Only the pool deletes clients.
  virtual ~zubJexClient();

 protected:
  explicit zubJexClient(const char* serverName);

 private:
  friend class zubJexMapPool<zubJexClient>;
  friend class zubJexClientCleanupHandler;

  zubJexClient(const zubJexClient&) = delete;
  zubJexClient& operator=(const zubJexClient&) = delete;

  zubMessageService* getMessageService();
  // Takes the client if it is free (the pool's step, under its mutex).
  bool allocate();
  // Marks the client free (the pool's step, under its mutex).
  void release();
  // Deletes every pooled client; later give-backs do nothing.
  static void clearAll();

  // Connection (the transport made and opened at the first call).
  void openConnection();
  btkOStream* startOutput();
  // True when the request is sent; false when it is to be written again (the
  // transport asked for it and has been closed).
  bool finishOutput();
  btkIStream* startInput();
  void finishInput();
  // Ends the exchange and gives the client back.
  void closeConnection();

  // Call path.
  void createCall(zubJexCall* call, const char* interfaceName, const char* methodName,
                  xrchandle<xanysequence> params);
  xany makeCallImpl(zubJexCall* call);
  void makeVoidCallImpl(zubJexCall* call);
  void sendCall(zubJexCall* call);
  void recieveResponse(zubJexResponse* response);
  xany recieveResult(const zubJexCall* call);
  void recieveVoidResult(const zubJexCall* call);
  void validateResponse(const zubJexCall* call, const zubJexResponse* response);

  // Failure processing: each ends the exchange, gives the client back and raises.
  // The catch block of every entry point: dispatches the exception being handled.
  [[noreturn]] void processCaught();
  [[noreturn]] void handleFault(const zubJexResponse* response);
  [[noreturn]] void processJexFault(xrchandle<zubXJexFault> fault);
  [[noreturn]] void processJEXException(zubJEXException* ex);
  [[noreturn]] void processZUBException(xrcunihandle<xthrowable> thrown);
  [[noreturn]] void throwS11nException(const xstring& text, xrchandle<zubXException> cause);

  xstring serverName;
  zubJexConfig config;
  zubJEXSerializer* serializer;
  bool isFree;  // guarded by the pool's mutex
  zubJexTransport* transport;
};

#endif  // ZUBJEX_CLIENT_JEX_CLIENT_H_
