// SPDX-License-Identifier: Apache-2.0
#include "Security/SecItem.h"

#include <algorithm>
#include <mutex>
#include <optional>

#include "Foundation/Values/Base64.h"
#include "Security/KeychainStore.h"

namespace oq {
namespace {

struct Stores {
  std::mutex mutex;
  std::shared_ptr<KeychainStore> given;
};

Stores& stores() {
  static auto* shared = new Stores;  // never destroyed: threads may use it while the process ends
  return *shared;
}

std::shared_ptr<KeychainStore> keychainStore() {
  {
    std::lock_guard lock(stores().mutex);
    if (stores().given) return stores().given;
  }
  static auto* chosen = new std::shared_ptr<KeychainStore>(chooseKeychainStore());
  return *chosen;
}

/// The parsed contents of a dictionary.
struct ItemRequest {
  bool hasClass = false;
  bool returnsAttributes = false;
  bool returnsData = false;
  bool hasLimit = false;
  KeychainAttributes attributes;
  std::optional<Data> data;
};

bool isAttribute(std::string_view key) {
  return key == kSecAttrGeneric || key == kSecAttrAccessGroup || key == kSecAttrAccount || key == kSecAttrService ||
         key == kSecAttrLabel || key == kSecAttrDescription;
}

const boost::json::string* textOf(const PropertyValue& value) {
  auto* object = std::get_if<JSONValue>(&value);
  return object ? object->if_string() : nullptr;
}

bool readText(std::string_view key, const boost::json::string& text, ItemRequest& request) {
  if (key == kSecClass) return request.hasClass = text == kSecClassGenericPassword;
  if (key == kSecMatchLimit) return request.hasLimit = text == kSecMatchLimitOne;
  // The stores use C strings, which cannot contain a NUL.
  if (!isAttribute(key) || !isValidUTF8(text) || text.find('\0') != text.npos) return false;
  request.attributes[std::string(key)] = std::string(text);
  return true;
}

bool readEntry(std::string_view key, const PropertyValue& value, ItemRequest& request) {
  if (auto* text = textOf(value)) return readText(key, *text, request);
  if (auto* data = std::get_if<Data>(&value)) {
    request.data = *data;
    return key == kSecValueData;
  }
  auto* object = std::get_if<JSONValue>(&value);
  if (!object || !object->is_bool()) return false;
  if (key == kSecReturnAttributes) request.returnsAttributes = object->get_bool();
  if (key == kSecReturnData) request.returnsData = object->get_bool();
  return key == kSecReturnAttributes || key == kSecReturnData;
}

std::optional<ItemRequest> read(const SecDictionary& dictionary) {
  ItemRequest request;
  bool valid = std::all_of(dictionary.begin(), dictionary.end(),
                           [&](const auto& entry) { return readEntry(entry.first, entry.second, request); });
  return valid ? std::optional(std::move(request)) : std::nullopt;
}

std::optional<ItemRequest> readQuery(const SecDictionary& dictionary) {
  auto request = read(dictionary);
  return request && request->hasClass ? request : std::nullopt;
}

SecDictionary dictionaryOf(const KeychainItem& item) {
  SecDictionary dictionary;
  for (const auto& [name, text] : item.attributes) dictionary.emplace(name, JSONValue(text));
  return dictionary;
}

}  // namespace

void setKeychainStore(std::shared_ptr<KeychainStore> store) {
  std::lock_guard lock(stores().mutex);
  stores().given.swap(store);
}

OSStatus SecItemCopyMatching(const SecDictionary& query, SecItemResult& result) {
  auto request = readQuery(query);
  if (!request) return errSecParam;
  KeychainItem item;
  OSStatus status = keychainStore()->copyMatching(request->attributes, request->returnsData, item);
  if (status != errSecSuccess) return status;
  if (!request->returnsAttributes) {
    if (request->returnsData) result = std::move(item.data);
    return status;
  }
  SecDictionary found = dictionaryOf(item);
  if (request->returnsData) found[std::string(kSecValueData)] = std::move(item.data);
  result = std::move(found);
  return status;
}

OSStatus SecItemAdd(const SecDictionary& attributes) {
  auto request = readQuery(attributes);
  if (!request || request->hasLimit) return errSecParam;
  return keychainStore()->add({std::move(request->attributes), request->data.value_or(Data{})});
}

OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& attributesToUpdate) {
  auto request = readQuery(query);
  auto change = read(attributesToUpdate);
  if (!request || !change || attributesToUpdate.empty()) return errSecParam;
  if (change->hasClass || change->hasLimit || change->returnsAttributes || change->returnsData) return errSecParam;
  return keychainStore()->update(request->attributes, {std::move(change->attributes), std::move(change->data)});
}

OSStatus SecItemDelete(const SecDictionary& query) {
  auto request = readQuery(query);
  return request ? keychainStore()->remove(request->attributes) : errSecParam;
}

}  // namespace oq
