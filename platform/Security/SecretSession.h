// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "Foundation/System/GLibReference.h"
#include "Security/KeychainStore.h"
#include "Security/LibSecret.h"

namespace oq {

/// One session with a running Secret Service, for this application's items in the default collection. It uses its own
/// bus connection, because GLib ends the process when the shared one closes. It never makes the service ask the user:
/// the service answers with prompt objects, which are not executed.
///
/// Not thread-safe; calls block. The cancellable passed to open() ends every wait and must outlive the session.
class SecretSession {
 public:
  struct Item {
    ObjectRef<SecretItemProxy> proxy;
    KeychainAttributes attributes;
  };

  /// nullptr if there is no session bus, no running service, no libsecret, or no unlocked default collection.
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
