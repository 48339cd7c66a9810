// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>

#include "Foundation/PropertyLists/PropertyValue.h"

namespace oq {

using OSStatus = std::int32_t;

inline constexpr OSStatus errSecSuccess = 0;
inline constexpr OSStatus errSecIO = -36;
/// Invalid argument: no class, an unknown key, a value of the wrong type, a string that is not UTF-8 or contains a NUL.
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecAllocate = -108;
/// The store cannot be reached, or did not answer in time.
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
/// The store would have to ask the user, which it is never allowed to do.
inline constexpr OSStatus errSecInteractionNotAllowed = -25308;

inline constexpr std::string_view kSecClass = "class";
inline constexpr std::string_view kSecClassGenericPassword = "genp";
inline constexpr std::string_view kSecAttrGeneric = "gena";
inline constexpr std::string_view kSecAttrAccessGroup = "agrp";
inline constexpr std::string_view kSecAttrAccount = "acct";
inline constexpr std::string_view kSecAttrService = "svce";
inline constexpr std::string_view kSecAttrLabel = "labl";
inline constexpr std::string_view kSecAttrDescription = "desc";
inline constexpr std::string_view kSecValueData = "v_Data";
inline constexpr std::string_view kSecMatchLimit = "m_Limit";
inline constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";
inline constexpr std::string_view kSecReturnAttributes = "r_Attributes";
inline constexpr std::string_view kSecReturnData = "r_Data";

/// Attributes are strings, the data is bytes, the kSecReturn... keys have booleans.
using SecDictionary = std::map<std::string, PropertyValue, std::less<>>;
/// What a query found: nothing, the attributes (including the data if both were requested), or only the data.
using SecItemResult = std::variant<std::monostate, SecDictionary, Data>;

/// Generic-password items of this application. An item is identified by its generic attribute, access group, account
/// and service together. Items are stored in the desktop's Secret Service if that is unlocked, otherwise in a file; the
/// first call of the process decides which.
///
/// Safe between threads and processes. A call may block some seconds for another process or for the service, and never
/// shows a question to the user. A failure changes nothing, except that an update or a deletion in the Secret Service
/// may fail after a part of the change.

/// The first item that has all attributes of the query; its data is not compared.
OSStatus SecItemCopyMatching(const SecDictionary& query, SecItemResult& result);
OSStatus SecItemAdd(const SecDictionary& attributes);
/// Changes every item that has the attributes of the query.
OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& attributesToUpdate);
/// Deletes every item that has the attributes of the query.
OSStatus SecItemDelete(const SecDictionary& query);

}  // namespace oq
