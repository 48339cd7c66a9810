// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Data.h"
#include "Security/SecItem.h"

namespace oq {

using KeychainAttributes = std::map<std::string, std::string, std::less<>>;

struct KeychainItem {
  KeychainAttributes attributes;
  Data data;
};

/// Attributes that are not listed keep their values. Without `data` the data stays unchanged.
struct KeychainChange {
  KeychainAttributes attributes;
  std::optional<Data> data;
};

/// Where items are stored. Thread-safe. A failure changes nothing, with one exception: a store that writes items one by
/// one (SecretServiceStore) may fail in update() or remove() after a part of the change.
class KeychainStore {
 public:
  virtual ~KeychainStore() = default;

  virtual const char* name() const = 0;
  /// Finds the first item with all attributes of the query. Its data stays empty unless `wantsData`.
  virtual OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) = 0;
  virtual OSStatus add(const KeychainItem& item) = 0;
  virtual OSStatus update(const KeychainAttributes& query, const KeychainChange& change) = 0;
  virtual OSStatus remove(const KeychainAttributes& query) = 0;
};

/// The Secret Service if one runs and its default collection is unlocked, otherwise the file. Checks again at every
/// call, which may take some seconds.
std::shared_ptr<KeychainStore> chooseKeychainStore();
/// The store that the SecItem functions use from now on; nullptr restores the one that the process chooses once. For
/// tests.
void setKeychainStore(std::shared_ptr<KeychainStore> store);

/// Whether the item has all attributes of the query.
bool matches(const KeychainAttributes& item, const KeychainAttributes& query);
KeychainAttributes changed(KeychainAttributes item, const KeychainAttributes& change);
/// Whether two of the items have the same identity: generic attribute, access group, account and service.
bool haveDuplicates(const std::vector<KeychainAttributes>& items);

}  // namespace oq
