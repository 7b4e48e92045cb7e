// The process-wide registry of clients: the pool, the configurations and proxy maps
// per server, and the objects made at load and taken down at unload.
//
// Made at load in this order (the order of the definitions below), taken down in the
// reverse order: registryMutex, the poolCleared flag, clientPool, serverConfigs,
// serverProxyMaps, the cleanup handler, ZUBJEX_LOG_AREA. So at unload the cleanup
// handler deletes every pooled client (each disconnecting and deleting its transport)
// while the maps and both mutexes still exist, and poolCleared outlives them all.
//
// Locks, always taken in this order:
//   registryMutex (recursive thrMutex): serverConfigs, serverProxyMaps, and held around
//       every pool operation that a client starts (handing out, giving back).
//   clientPool's btkThrMutex: the pool's map and every client's isFree flag.
#include "client/jex_client.h"
#include "client/map_pool.h"
#include "client/transport.h"
#include "messages/jex_serializer.h"
#include "platform/logging.h"
#include "platform/mutex.h"
#include "platform/string_map.h"

namespace {

// Not locked: set before clients are made.
zubJexConfig defaultConfig;

thrMutex registryMutex(thrMutexRecursive);
// On the heap and never freed, so that a client given back during or after unload
// still finds it.
bool* const poolCleared = new bool(false);
zubJexMapPool<zubJexClient> clientPool;
btkStringMap<zubJexConfig> serverConfigs;       // guarded by registryMutex
btkStringMap<zubJexProxyMap*> serverProxyMaps;  // guarded by registryMutex; maps borrowed

// Server names are map keys; a null name is taken as "".
const char* keyOf(const char* serverName) { return serverName == nullptr ? "" : serverName; }

// Holds registryMutex for a scope.
class RegistryLock {
 public:
  RegistryLock() { registryMutex.Lock(); }
  ~RegistryLock() { registryMutex.Unlock(); }
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;
};

}  // namespace

// Clears the pool when the library is unloaded.
class zubJexClientCleanupHandler {
 public:
  zubJexClientCleanupHandler() = default;
  ~zubJexClientCleanupHandler() { zubJexClient::clearAll(); }
};

namespace {
zubJexClientCleanupHandler cleanupHandler;
}  // namespace

void* ZUBJEX_LOG_AREA = btkLogManager::CreateArea("ZUBJEX", "Log area ZUBJEX");

zubJexClient::zubJexClient(const char* serverName)
    : serverName(serverName), serializer(nullptr), isFree(false), transport(nullptr) {
  {
    RegistryLock lock;  // nests the lock that getInstance holds
    if (!serverConfigs.Find(keyOf(serverName), config)) config = defaultConfig;
  }
  serializer = zubJEXSerializer::getInstance();
}

zubJexClient::~zubJexClient() {
  if (transport != nullptr) {
    try {
      transport->disconnect();
    } catch (xthrowable* t) {
      xadoptThrown(t);  // nobody to tell at unload
    }
    delete transport;
    transport = nullptr;
  }
}

zubJexClient* zubJexClient::getInstance(const char* serverName) {
  RegistryLock lock;
  return clientPool.allocateInstance(keyOf(serverName));
}

void zubJexClient::freeInstance(zubJexClient* client) {
  if (*poolCleared) return;
  RegistryLock lock;
  clientPool.freeInstance(client);
}

zubJexConfig zubJexClient::getDefaultConfig() { return defaultConfig; }

void zubJexClient::setDefaultConfig(const zubJexConfig& config) { defaultConfig = config; }

zubJexConfig zubJexClient::getServerConfig(const char* serverName) {
  RegistryLock lock;
  zubJexConfig config;
  serverConfigs.Find(keyOf(serverName), config);
  return config;
}

void zubJexClient::setServerConfig(const char* serverName, const zubJexConfig& config) {
  RegistryLock lock;
  serverConfigs.Add(keyOf(serverName), config);
}

zubJexProxyMap* zubJexClient::getServerProxyMap(const char* serverName) {
  RegistryLock lock;
  zubJexProxyMap* map = nullptr;
  serverProxyMaps.Find(keyOf(serverName), map);
  return map;
}

void zubJexClient::setServerProxyMap(const char* serverName, zubJexProxyMap* map) {
  RegistryLock lock;
  serverProxyMaps.Add(keyOf(serverName), map);
}

zubJexConfig zubJexClient::getConfig() { return config; }

zubMessageService* zubJexClient::getMessageService() { return config.getMessageService(); }

bool zubJexClient::allocate() {
  if (!isFree) return false;
  isFree = false;
  return true;
}

void zubJexClient::release() { isFree = true; }

void zubJexClient::clearAll() {
  clientPool.clearAll();
  *poolCleared = true;
}
