// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "Foundation/PropertyLists/BinaryPropertyList.h"

namespace oq::plist {

/// The maximum nesting of containers, for reading and writing.
inline constexpr std::size_t kMaximumXMLDepth = 512;

/// Writes the table as an XML property list, in UTF-8 and with dates in whole seconds. Returns nullopt, and sets
/// `reason` if given, for a table that the format cannot represent: null, UIDs, strings that are invalid UTF-8 or have
/// characters that XML does not allow, more than 64 MiB.
std::optional<Data> writeXML(const Table& table, std::string* reason = nullptr);

/// Reads strictly: one value in one `plist` element, decimal numbers, complete dates, no duplicate keys, no document
/// type with its own declarations. The result is a tree. Returns nullopt, and sets `reason` if given, for anything
/// else.
std::optional<Table> readXML(const Data& data, std::string* reason = nullptr);

}  // namespace oq::plist
