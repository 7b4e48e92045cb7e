#include "client/transport.h"

void zubJexTransport::disconnect() {}

void zubJexTransport::reportException(xrchandle<zubXSerialization> error) {}

zubJexTransport::~zubJexTransport() = default;

zubJexTransportFactory::~zubJexTransportFactory() = default;
