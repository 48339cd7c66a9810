// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "Foundation/PropertyLists/PropertyValue.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"

namespace oq {

enum class PropertyListFormat { XML = 100 };

/// The error domain of property lists, and its codes.
inline constexpr const char* CocoaErrorDomain = "NSCocoaErrorDomain";
enum CocoaErrorCode : std::int64_t { PropertyListReadCorruptError = 3840, PropertyListWriteInvalidError = 3852 };

/// Converts values to the bytes of XML property lists and back. Stateless and thread-safe.
class PropertyListSerialization {
 public:
  /// Returns nullopt, and sets `error` if given, for a value that a property list cannot represent: null at any level,
  /// strings with characters that XML does not allow, or more than 512 levels.
  static std::optional<Data> dataWithPropertyList(const PropertyValue& list, PropertyListFormat format,
                                                  Error* error = nullptr);
  /// Returns a null JSONValue, and sets `error` if given, if the data is not an XML property list, or if it has bytes
  /// or dates inside a container (a JSONValue cannot hold them).
  static PropertyValue propertyListWithData(const Data& data, PropertyListFormat* format = nullptr,
                                            Error* error = nullptr);
};

}  // namespace oq
