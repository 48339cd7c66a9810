#pragma once

#include <filesystem>
#include <functional>
#include <mutex>

#include "Foundation/Files/FileDescriptor.h"
#include "Security/KeychainStore.h"

namespace oq {

/// Items in `Keychain/keychain.plist` of the application's data folder: a binary property list with a
/// checksum, mode 0600 in a folder of mode 0700, replaced whole or not at all. A torn or foreign file reads
/// as empty; one that cannot be read at all is an error, so that nothing takes its place. No symbolic link is
/// followed.
///
/// Any thread, several processes: who changes the file holds an advisory lock on a file beside it, and gives
/// up with errSecNotAvailable after two seconds of waiting. Readers wait for nobody.
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

  std::timed_mutex _changeMutex;  ///< one thread at a time stands in line for the lock of the processes
};

}  // namespace oq
