#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Foundation/PropertyLists/PropertyValue.h"
#include "Security/SecItem.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// One generic-password item of the keychain, found by its generic attribute and access group, with a plain
/// object (text, number, array, dictionary, bytes, date) as its data. One thread at a time.
///
/// What the keychain refuses is not reported: the wrapper's own state goes on as if it had been kept.
class OQKeychainItemWrapper : public Object {
  OQ_CLASS(OQKeychainItemWrapper)

 public:
  /// Looks the item up. Without one, the wrapper has empty texts and an empty dictionary as data; nothing is
  /// stored until a value is set.
  OQKeychainItemWrapper(const std::string& identifier, std::optional<std::string> accessGroup);

  const SecDictionary& keychainItemData() const { return _keychainItemData.value(); }
  const SecDictionary& genericPasswordQuery() const { return _genericPasswordQuery; }
  const std::optional<std::string>& accessGroup() const { return _accessGroup; }

  /// Writes the item when the value is another one. A null value does nothing.
  void setObject(const PropertyValue& value, std::string_view key);
  /// A null JSONValue when there is none. Asks the wrapper, not the keychain.
  PropertyValue objectForKey(std::string_view key) const;

  /// Deletes the item and goes back to empty texts and an empty dictionary.
  void resetKeychainItem();
  void writeToKeychain() const;

  /// The dictionary with the class, and with the data as bytes; with the data as it was when it is nothing
  /// that a property list can hold.
  SecDictionary dictionaryToSecItemFormat(const SecDictionary& dict) const;
  /// The attributes with the class and the item's data as a plain object; without data when there is none.
  SecDictionary secItemFormatToDictionary(const SecDictionary& dict) const;

 private:
  std::optional<SecDictionary> _keychainItemData;
  SecDictionary _genericPasswordQuery;
  const std::optional<std::string> _accessGroup;
};

}  // namespace oq
