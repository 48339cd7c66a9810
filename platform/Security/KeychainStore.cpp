// SPDX-License-Identifier: Apache-2.0
#include "Security/KeychainStore.h"

#include <algorithm>
#include <array>
#include <set>

#include "Security/FileKeychainStore.h"
#include "Security/SecretServiceStore.h"

namespace oq {
namespace {

using Identity = std::array<std::string, 4>;

/// A missing attribute counts as an empty one.
Identity identityOf(const KeychainAttributes& item) {
  auto text = [&](std::string_view name) {
    auto found = item.find(name);
    return found == item.end() ? std::string() : found->second;
  };
  return {text(kSecAttrGeneric), text(kSecAttrAccessGroup), text(kSecAttrAccount), text(kSecAttrService)};
}

}  // namespace

std::shared_ptr<KeychainStore> chooseKeychainStore() {
  if (SecretServiceStore::isUsable()) return std::make_shared<SecretServiceStore>();
  return std::make_shared<FileKeychainStore>();
}

bool matches(const KeychainAttributes& item, const KeychainAttributes& query) {
  return std::all_of(query.begin(), query.end(), [&](const auto& wanted) {
    auto found = item.find(wanted.first);
    return found != item.end() && found->second == wanted.second;
  });
}

KeychainAttributes changed(KeychainAttributes item, const KeychainAttributes& change) {
  for (const auto& [name, text] : change) item[name] = text;
  return item;
}

bool haveDuplicates(const std::vector<KeychainAttributes>& items) {
  std::set<Identity> identities;
  return !std::all_of(items.begin(), items.end(),
                      [&](const auto& item) { return identities.insert(identityOf(item)).second; });
}

}  // namespace oq
