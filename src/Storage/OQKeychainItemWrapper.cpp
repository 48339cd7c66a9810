// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQKeychainItemWrapper.h"

#include "Foundation/Files/FileManager.h"
#include "Foundation/PropertyLists/PropertyListSerialization.h"
#include "Foundation/Values/Format.h"

namespace oq {

namespace {

void set(SecDictionary& dictionary, std::string_view key, PropertyValue value) {
  dictionary[std::string(key)] = std::move(value);
}

void remove(SecDictionary& dictionary, std::string_view key) {
  if (auto found = dictionary.find(key); found != dictionary.end()) dictionary.erase(found);
}

bool isNothing(const PropertyValue& value) {
  auto* object = std::get_if<JSONValue>(&value);
  return object && object->is_null();
}

PropertyValue valueOf(const SecDictionary& dictionary, std::string_view key) {
  auto found = dictionary.find(key);
  return found == dictionary.end() ? JSONValue() : found->second;
}

}  // namespace

Class* OQKeychainItemWrapper::staticClass() {
  static Class* registered = registerClass("OQKeychainItemWrapper", Object::staticClass());
  return registered;
}

OQKeychainItemWrapper::OQKeychainItemWrapper(const std::string& identifier, std::optional<std::string> accessGroup)
    : _accessGroup(std::move(accessGroup)) {
  set(_genericPasswordQuery, kSecClass, JSONValue(kSecClassGenericPassword));
  set(_genericPasswordQuery, kSecAttrGeneric, JSONValue(identifier));
  // Intentional: an access group is always part of the search, as on a real device. (A simulator ignores access
  // groups.)
  if (_accessGroup) set(_genericPasswordQuery, kSecAttrAccessGroup, JSONValue(*_accessGroup));
  set(_genericPasswordQuery, kSecMatchLimit, JSONValue(kSecMatchLimitOne));
  set(_genericPasswordQuery, kSecReturnAttributes, JSONValue(true));

  SecItemResult found;
  if (SecItemCopyMatching(_genericPasswordQuery, found) == errSecSuccess) {
    _keychainItemData = secItemFormatToDictionary(std::get<SecDictionary>(found));
    return;
  }
  resetKeychainItem();
  set(*_keychainItemData, kSecAttrGeneric, JSONValue(identifier));
  if (_accessGroup) set(*_keychainItemData, kSecAttrAccessGroup, JSONValue(*_accessGroup));
}

void OQKeychainItemWrapper::setObject(const PropertyValue& value, std::string_view key) {
  if (isNothing(value) || objectForKey(key) == value) return;
  set(*_keychainItemData, key, value);
  writeToKeychain();
}

PropertyValue OQKeychainItemWrapper::objectForKey(std::string_view key) const {
  return valueOf(*_keychainItemData, key);
}

void OQKeychainItemWrapper::resetKeychainItem() {
  if (_keychainItemData) {
    if (mayWriteFiles()) SecItemDelete(dictionaryToSecItemFormat(*_keychainItemData));
  } else {
    _keychainItemData.emplace();
  }
  for (std::string_view key : {kSecAttrAccount, kSecAttrService, kSecAttrLabel, kSecAttrDescription}) {
    set(*_keychainItemData, key, JSONValue(""));
  }
  set(*_keychainItemData, kSecValueData, JSONValue(JSONDictionary{}));
}

void OQKeychainItemWrapper::writeToKeychain() const {
  if (!mayWriteFiles()) return;
  SecDictionary item = dictionaryToSecItemFormat(*_keychainItemData);
  SecItemResult found;
  // Intentional: the results are ignored; the state in memory is kept either way.
  if (SecItemCopyMatching(_genericPasswordQuery, found) != errSecSuccess) {
    SecItemAdd(item);
    return;
  }
  SecDictionary updateQuery = std::get<SecDictionary>(std::move(found));
  set(updateQuery, kSecClass, valueOf(_genericPasswordQuery, kSecClass));
  remove(item, kSecClass);
  remove(item, kSecAttrAccessGroup);
  SecItemUpdate(updateQuery, item);
}

SecDictionary OQKeychainItemWrapper::dictionaryToSecItemFormat(const SecDictionary& dict) const {
  SecDictionary result = dict;
  set(result, kSecClass, JSONValue(kSecClassGenericPassword));
  Error error;
  auto bytes =
      PropertyListSerialization::dataWithPropertyList(valueOf(dict, kSecValueData), PropertyListFormat::XML, &error);
  if (bytes) {
    set(result, kSecValueData, std::move(*bytes));
  } else {
    platformLog(stringWithFormat("dictionaryToSecItemFormat: Error! %@", error));
  }
  return result;
}

SecDictionary OQKeychainItemWrapper::secItemFormatToDictionary(const SecDictionary& dict) const {
  SecDictionary result = dict;
  set(result, kSecReturnData, JSONValue(true));
  set(result, kSecClass, JSONValue(kSecClassGenericPassword));
  SecItemResult found;
  if (SecItemCopyMatching(result, found) != errSecSuccess) {
    platformLog("secItemFormatToDictionary: format error.");
    // Intentional: kSecReturnData stays in the result. SecItemUpdate() then refuses the dictionary, so that an item
    // whose data could not be read is not overwritten.
    return result;
  }
  remove(result, kSecReturnData);
  if (auto* bytes = std::get_if<Data>(&found)) {
    PropertyValue object = PropertyListSerialization::propertyListWithData(*bytes);
    if (!isNothing(object)) set(result, kSecValueData, std::move(object));
  }
  return result;
}

}  // namespace oq
