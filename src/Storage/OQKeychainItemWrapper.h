// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/PropertyLists/PropertyValue.h"
#include "Security/SecItem.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// One generic-password item of the keychain, identified by its generic attribute and access group. Its data is a plain
/// object (string, number, array, dictionary, bytes, date). Not thread-safe.
///
/// Failures of the keychain are not reported: the wrapper's own state changes as if the operation had succeeded.
class OQKeychainItemWrapper : public Object {
  OQ_CLASS(OQKeychainItemWrapper)

 public:
  /// Looks up the item. If there is none, the wrapper has empty strings and an empty dictionary as data; nothing is
  /// stored until a value is set.
  OQKeychainItemWrapper(const std::string& identifier, std::optional<std::string> accessGroup);

  const SecDictionary& keychainItemData() const { return _keychainItemData.value(); }
  const SecDictionary& genericPasswordQuery() const { return _genericPasswordQuery; }
  const std::optional<std::string>& accessGroup() const { return _accessGroup; }

  /// Sets the value and writes the item, if the value differs from that of the wrapper. A null value is ignored.
  void setObject(const PropertyValue& value, std::string_view key);
  /// The value for the key; a null JSONValue if there is none. Reads the wrapper's state, not the keychain.
  PropertyValue objectForKey(std::string_view key) const;

  /// Deletes the item and resets the wrapper to empty strings and an empty dictionary.
  void resetKeychainItem();
  void writeToKeychain() const;

  /// The dictionary with the class added and the data converted to bytes. Data that a property list cannot hold stays
  /// unchanged.
  SecDictionary dictionaryToSecItemFormat(const SecDictionary& dict) const;
  /// Looks up the data of the item with these attributes. Returns the attributes with the class added, and the data as
  /// a plain object if there is any.
  SecDictionary secItemFormatToDictionary(const SecDictionary& dict) const;

 private:
  std::optional<SecDictionary> _keychainItemData;
  SecDictionary _genericPasswordQuery;
  const std::optional<std::string> _accessGroup;
};

}  // namespace oq
