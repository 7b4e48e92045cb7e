#include "client/jex_config.h"

zubJexConfig::zubJexConfig() : messageService(nullptr), transportFactory(nullptr) {}

zubJexConfig::zubJexConfig(const zubJexConfig& other)
    : messageService(other.messageService), transportFactory(other.transportFactory) {}

zubMessageService* zubJexConfig::getMessageService() const { return messageService; }

void zubJexConfig::setMessageService(zubMessageService* service) { messageService = service; }

zubJexTransportFactory* zubJexConfig::getJexTransportFactory() const { return transportFactory; }

void zubJexConfig::setJexTransportFactory(zubJexTransportFactory* factory) {
  transportFactory = factory;
}
