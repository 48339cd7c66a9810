// SPDX-License-Identifier: Apache-2.0
#include "Foundation/System/Device.h"
#include "Storage/OQKeychainItemWrapper.h"
#include "Utils/OQConsent.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {

namespace {

OQKeychainItemWrapper identifierItem() {
  return OQKeychainItemWrapper("UUID", OQSDKBundleId);
}

/// Bytes and dates never count as empty, whatever their contents.
bool isEmpty(const PropertyValue& stored) {
  auto* value = std::get_if<JSONValue>(&stored);
  if (!value) return false;
  if (auto* text = value->if_string()) return text->empty();
  if (auto* array = value->if_array()) return array->empty();
  if (auto* dictionary = value->if_object()) return dictionary->empty();
  return value->is_null();
}

}  // namespace

void OQUtils::saveUUIDWithKeyChain() {
  if (OQConsent::isMissing()) return;
  OQKeychainItemWrapper item = identifierItem();
  if (!isEmpty(item.objectForKey(kSecValueData))) return;
  // A missing identifier becomes a null value, which setObject() ignores.
  std::string identifier = getUUID();
  item.setObject(identifier.empty() ? JSONValue() : JSONValue(identifier), kSecValueData);
}

void OQUtils::forgetUUID() {
  forgetIdentifierForVendor();
  identifierItem().resetKeychainItem();
}

JSONValue OQUtils::getUUIDWithKeychain() {
  PropertyValue stored = identifierItem().objectForKey(kSecValueData);
  JSONValue* value = std::get_if<JSONValue>(&stored);
  return value ? std::move(*value) : JSONValue();
}

}  // namespace oq
