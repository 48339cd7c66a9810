#pragma once

#include "Security/KeychainStore.h"

namespace oq {

/// Items in the default collection of the desktop's Secret Service, with the application's identifier among
/// their attributes. Every operation is a conversation of its own on a thread of its own: a service that has
/// gone, was locked or does not answer costs at most two and a half seconds and ends in an error.
class SecretServiceStore : public KeychainStore {
 public:
  /// Whether a service runs whose default collection is open. Asks nobody and starts nothing.
  static bool isUsable();

  const char* name() const override { return "Secret Service"; }
  OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) override;
  OSStatus add(const KeychainItem& item) override;
  OSStatus update(const KeychainAttributes& query, const KeychainChange& change) override;
  OSStatus remove(const KeychainAttributes& query) override;
};

}  // namespace oq
