// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <functional>
#include <mutex>

#include "Foundation/Files/FileDescriptor.h"
#include "Security/KeychainStore.h"

namespace oq {

/// Items in `Keychain/keychain.plist` of the application's data folder: a binary property list with a checksum, mode
/// 0600 in a folder of mode 0700, replaced completely or not at all. A damaged or foreign file reads as empty. A file
/// that cannot be read at all is an error, so that it is not replaced. Symbolic links are not followed.
///
/// Thread-safe and safe between processes: a writer holds an advisory lock on a separate lock file, and fails with
/// errSecNotAvailable after waiting two seconds. Readers never wait.
class FileKeychainStore : public KeychainStore {
 public:
  const char* name() const override { return "file"; }
  OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) override;
  OSStatus add(const KeychainItem& item) override;
  OSStatus update(const KeychainAttributes& query, const KeychainChange& change) override;
  OSStatus remove(const KeychainAttributes& query) override;

 private:
  using Items = std::vector<KeychainItem>;
  static OSStatus readItems(int folder, Items& items);
  OSStatus change(const std::function<OSStatus(Items&)>& body);

  std::timed_mutex _changeMutex;  ///< only one thread of this process waits for the lock between processes
};

}  // namespace oq
