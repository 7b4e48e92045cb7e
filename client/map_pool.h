// The pool of reusable clients: per server name, the clients in the order of their
// making, each either in use or free.
#ifndef ZUBJEX_CLIENT_MAP_POOL_H_
#define ZUBJEX_CLIENT_MAP_POOL_H_

#include <cstddef>
#include <memory>

#include "platform/mutex.h"
#include "platform/string_map.h"
#include "platform/xarray.h"

// T is zubJexClient: it is made with T(const char* serverName) and offers allocate()
// (take it if free) and release() (mark it free), which the pool calls under `mutex`.
// The pool owns the arrays and the clients in them; an entry, once made for a server,
// stays until clearAll, and clients are never removed one by one. So a server has as
// many clients as the largest number of its calls that were ever under way at once.
//
// Locking: `mutex` guards `instances` and the free flag of every pooled client. The
// client registry always takes its own recursive mutex before this one; clearAll takes
// this one alone.
template <class T>
class zubJexMapPool {
 public:
  zubJexMapPool() : mutex(0) {}
  zubJexMapPool(const zubJexMapPool&) = delete;
  zubJexMapPool& operator=(const zubJexMapPool&) = delete;
  // Frees the arrays that are left but not the clients: clearAll has deleted them.
  ~zubJexMapPool() {
    for (size_t i = 0; i < instances.GetSize(); ++i) delete instances.GetByIndex(i);
  }

  // The first free client of the server, marked in use, or a new one (in use) appended
  // to the server's array. The caller must hold the registry's mutex, which T's
  // constructor locks again.
  T* allocateInstance(const char* serverName) {
    btkScopeGuard<btkThrMutex> guard(mutex);
    btkXArray<T*>* clients = nullptr;
    if (!instances.Find(serverName, clients)) {
      clients = new btkXArray<T*>();
      instances.Add(serverName, clients);
    }
    T** items = clients->GetDataPtr();
    for (size_t i = 0; i < clients->GetSize(); ++i) {
      if (items[i] != nullptr && items[i]->allocate()) return items[i];
    }
    std::unique_ptr<T> made(new T(serverName));
    clients->Append(made.get());
    return made.release();
  }

  // Marks the client free. Nothing checks that it belongs to the pool.
  void freeInstance(T* instance) {
    btkScopeGuard<btkThrMutex> guard(mutex);
    instance->release();
  }

  // True once the server has had a client, whatever the state of its clients.
  bool hasInstance(const char* serverName) {
    btkScopeGuard<btkThrMutex> guard(mutex);
    return instances.ContainsKey(serverName);
  }

  // Deletes every client (in use or not) through its virtual destructor, server by
  // server in key order and in array order, then every array. No call may be under way.
  void clearAll() {
    btkScopeGuard<btkThrMutex> guard(mutex);
    for (size_t i = 0; i < instances.GetSize(); ++i) {
      btkXArray<T*>* clients = instances.GetByIndex(i);
      T** items = clients->GetDataPtr();
      for (size_t j = 0; j < clients->GetSize(); ++j) delete items[j];
      delete clients;
    }
    instances.Clear();
  }

 private:
  btkStringMap<btkXArray<T*>*> instances;
  btkThrMutex mutex;
};

#endif  // ZUBJEX_CLIENT_MAP_POOL_H_
