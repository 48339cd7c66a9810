// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Security/KeychainStore.h"

namespace oq {

/// Items in the default collection of the desktop's Secret Service, marked with the application's identifier. Every
/// operation opens a new session on a new thread: if the service is gone, locked or does not answer, the operation
/// fails after at most two and a half seconds.
class SecretServiceStore : public KeychainStore {
 public:
  /// Whether a service runs with an unlocked default collection. Neither starts a service nor asks the user.
  static bool isUsable();

  const char* name() const override { return "Secret Service"; }
  OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) override;
  OSStatus add(const KeychainItem& item) override;
  OSStatus update(const KeychainAttributes& query, const KeychainChange& change) override;
  OSStatus remove(const KeychainAttributes& query) override;
};

}  // namespace oq
