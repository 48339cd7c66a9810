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
/// Bad input: no class, an unknown key, a value of the wrong type, text that is not UTF-8 or holds a NUL.
inline constexpr OSStatus errSecParam = -50;
inline constexpr OSStatus errSecAllocate = -108;
/// The store is out of reach, or did not answer in time.
inline constexpr OSStatus errSecNotAvailable = -25291;
inline constexpr OSStatus errSecDuplicateItem = -25299;
inline constexpr OSStatus errSecItemNotFound = -25300;
/// The store would have to ask a person. Nobody is ever asked.
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

/// Attributes are texts, the data is bytes, what is to be returned is a boolean.
using SecDictionary = std::map<std::string, PropertyValue, std::less<>>;
/// Nothing, the attributes (with the data among them when both were wanted), or the data alone.
using SecItemResult = std::variant<std::monostate, SecDictionary, Data>;

/// Generic-password items of this application. An item is told from others by its generic attribute, access
/// group, account and service together. Items are kept in the desktop's Secret Service where that is open,
/// else in a file; which of the two is settled by the first call of the process.
///
/// Any thread, and several processes. A call may wait for another process or for the service, some seconds
/// at most, and never brings up a question to a person. A failure changes nothing.

/// The first item that has all the attributes of the query; its data takes no part in the search.
OSStatus SecItemCopyMatching(const SecDictionary& query, SecItemResult& result);
OSStatus SecItemAdd(const SecDictionary& attributes);
/// Changes every item that has the attributes of the query.
OSStatus SecItemUpdate(const SecDictionary& query, const SecDictionary& attributesToUpdate);
/// Deletes every item that has the attributes of the query.
OSStatus SecItemDelete(const SecDictionary& query);

}  // namespace oq
