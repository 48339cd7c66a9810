#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Data.h"
#include "Security/SecItem.h"

namespace oq {

/// Texts by attribute name.
using KeychainAttributes = std::map<std::string, std::string, std::less<>>;

struct KeychainItem {
  KeychainAttributes attributes;
  Data data;
};

/// What is not mentioned stays.
struct KeychainChange {
  KeychainAttributes attributes;
  std::optional<Data> data;
};

/// Where items are kept. Any thread. A failure changes nothing, but for an update of several attributes and
/// the data in a store that takes them one by one.
class KeychainStore {
 public:
  virtual ~KeychainStore() = default;

  virtual const char* name() const = 0;
  /// The data is left empty unless it is wanted.
  virtual OSStatus copyMatching(const KeychainAttributes& query, bool wantsData, KeychainItem& found) = 0;
  virtual OSStatus add(const KeychainItem& item) = 0;
  virtual OSStatus update(const KeychainAttributes& query, const KeychainChange& change) = 0;
  virtual OSStatus remove(const KeychainAttributes& query) = 0;
};

/// The Secret Service where one runs with an open default collection, else the file. Looks afresh at every
/// call; some seconds at most.
std::shared_ptr<KeychainStore> chooseKeychainStore();
/// The store of the SecItem functions from now on, in place of the one that the process chooses once; nullptr
/// gives that back. For tests.
void setKeychainStore(std::shared_ptr<KeychainStore> store);

/// Whether the item has all that the query names.
bool matches(const KeychainAttributes& item, const KeychainAttributes& query);
KeychainAttributes changed(KeychainAttributes item, const KeychainAttributes& change);
/// Whether two of the items could not be told from each other.
bool haveDuplicates(const std::vector<KeychainAttributes>& items);

}  // namespace oq
