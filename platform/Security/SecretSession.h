#pragma once

#include <memory>
#include <vector>

#include "Foundation/System/GLibReference.h"
#include "Security/KeychainStore.h"
#include "Security/LibSecret.h"

namespace oq {

/// One conversation with a running Secret Service about this application's items in the default collection,
/// on a bus connection of its own: the shared one would end the process when the bus goes away. Nothing here
/// makes the service ask a person: its questions come as prompt objects, which are left alone.
///
/// For one thread at a time, which waits; the cancellable given to open() ends every wait and must outlive
/// the session.
class SecretSession {
 public:
  struct Item {
    ObjectRef<SecretItemProxy> proxy;
    KeychainAttributes attributes;
  };

  /// nullptr without a session bus, a service that runs already, libsecret, or an open default collection.
  static std::unique_ptr<SecretSession> open(GCancellable* cancellable);

  OSStatus items(std::vector<Item>& items) const;
  OSStatus data(const Item& item, Data& data) const;
  OSStatus create(const KeychainItem& item) const;
  OSStatus setData(const Item& item, const Data& data) const;
  OSStatus setAttributes(const Item& item, const KeychainAttributes& attributes) const;
  OSStatus remove(const Item& item) const;

 private:
  explicit SecretSession(GCancellable* cancellable) : _cancellable(cancellable) {}
  bool connect();
  bool serviceRuns() const;
  bool openCollection();
  OSStatus call(void* proxy, const char* method, GVariant* parameters, const char* answerType) const;

  GCancellable* const _cancellable;
  const LibSecret* _library = nullptr;
  ObjectRef<GDBusConnection> _connection;
  ObjectRef<SecretServiceProxy> _service;
  ObjectRef<SecretCollectionProxy> _collection;
};

}  // namespace oq
