// calc_host HOST:PORT: a typed call of add(2, 3) on the calculator served there.
#include <iostream>

#include "calc.jex.h"                 // generated from calc.jex: ICalcProxy, calcRegisterTypes()
#include "client/jex_client.h"        // zubJexClient, zubJexConfig
#include "messages/proxy_map.h"       // zubJexNoHostObjectsMap
#include "transport/tcp_transport.h"  // zubJexTcpTransportFactory

int main(int argc, char** argv) {
  if (argc != 2) return std::cerr << "usage: calc_host HOST:PORT\n", 2;
  calcRegisterTypes();
  zubJexConfig config;  // the library borrows the factory and the proxy map: they live until exit
  config.setJexTransportFactory(new zubJexTcpTransportFactory());
  zubJexClient::setServerConfig(argv[1], config);
  zubJexClient::setServerProxyMap(argv[1], new zubJexNoHostObjectsMap());  // no objects of ours
  try {
    zubJexClient* client = zubJexClient::getInstance(argv[1]);
    xrchandle<ICalcProxy> calc(ICalcProxy::softcast(client->getRootObject("ICalc", "calc").get()));
    zubJexClient::freeInstance(client);
    std::cout << calc->add(2, 3) << std::endl;
  } catch (xthrowable* t) {  // a CalcError from the server or a zubXSerialization of the client
    xrcunihandle<xthrowable> error = xadoptThrown(t);
    return std::cerr << zubXException::softcast(error.get())->getDescription() << "\n", 1;
  }
}
