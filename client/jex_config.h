// The configuration of the clients of one server (or the default one): which message
// service words their errors and which transport factory carries their bytes.
#ifndef ZUBJEX_CLIENT_JEX_CONFIG_H_
#define ZUBJEX_CLIENT_JEX_CONFIG_H_

#include "serialization/export.h"

class zubMessageService;
class zubJexTransportFactory;

// A plain record of two borrowed pointers. The host owns the service and the factory
// and keeps them alive as long as any client made with this configuration exists; the
// library never deletes either. Copied by value into the registry and into each client.
class ZUBJEX_EXPORT zubJexConfig {
 public:
  // Both pointers null: the default message service, and no transport (a client with
  // no factory fails every call with a client error naming its server).
  zubJexConfig();
  zubJexConfig(const zubJexConfig& other);
  zubJexConfig& operator=(const zubJexConfig& other) = default;

  // Null means the library's built-in English texts.
  zubMessageService* getMessageService() const;
  void setMessageService(zubMessageService* service);
  // The factory that makes each client's transport at its first call; may be null.
  zubJexTransportFactory* getJexTransportFactory() const;
  void setJexTransportFactory(zubJexTransportFactory* factory);

 private:
  zubMessageService* messageService;
  zubJexTransportFactory* transportFactory;
};

#endif  // ZUBJEX_CLIENT_JEX_CONFIG_H_
