#include "client/jex_client.h"        // zubJexClient, zubJexConfig
#include "errors/message_service.h"   // zubMessageService
#include "messages/proxy_map.h"       // zubJexProxyMap
#include "transport/tcp_transport.h"  // zubJexTcpTransportFactory

// The library borrows the factory, the message service and the proxy map.
void Configure(zubJexTcpTransportFactory& tcp, zubMessageService& myTexts,
               zubJexProxyMap& myProxyMap) {
  zubJexConfig config;
  config.setJexTransportFactory(&tcp);                     // or your own zubJexTransportFactory
  config.setMessageService(&myTexts);                      // optional: rewords the library's errors
  zubJexClient::setServerConfig("10.1.2.3:7070", config);  // or setDefaultConfig(config)
  zubJexClient::setServerProxyMap("10.1.2.3:7070", &myProxyMap);  // required, even if empty
}
