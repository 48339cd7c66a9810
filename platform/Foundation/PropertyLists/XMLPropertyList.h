#pragma once

#include <optional>
#include <string>

#include "Foundation/PropertyLists/BinaryPropertyList.h"

namespace oq::plist {

/// Containers within containers, in both directions.
inline constexpr std::size_t MaximumXMLDepth = 512;

/// The XML format of property lists, over the same table as the binary one. UTF-8; dates in whole seconds.
/// nullopt for what the format cannot say: null, UIDs, text that is not UTF-8 or has characters that XML does
/// not know, more than 64 MiB. `reason` then says which, when given.
std::optional<Data> writeXML(const Table& table, std::string* reason = nullptr);

/// Strict: one value in one `plist` element, numbers in decimal, dates in full, no key twice, no document
/// type with declarations of its own. The result is a tree. nullopt, with a reason, for anything else.
std::optional<Table> readXML(const Data& data, std::string* reason = nullptr);

}  // namespace oq::plist
