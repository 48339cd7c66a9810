#pragma once

#include <optional>

#include "Foundation/PropertyLists/PropertyValue.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"

namespace oq {

enum class PropertyListFormat { XML = 100 };

/// The domain of failures here, and their codes.
inline constexpr const char* CocoaErrorDomain = "NSCocoaErrorDomain";
enum CocoaErrorCode : std::int64_t { PropertyListReadCorruptError = 3840, PropertyListWriteInvalidError = 3852 };

/// Property lists as bytes. No state; any thread.
class PropertyListSerialization {
 public:
  /// nullopt, and the error set when one is given, for what a property list cannot hold: nothing at all, null
  /// anywhere inside, text that XML has no characters for, more than 512 levels.
  static std::optional<Data> dataWithPropertyList(const PropertyValue& list, PropertyListFormat format,
                                                  Error* error = nullptr);
  /// A null JSONValue, and the error set, for anything that is no list in a format known here. So too for bytes
  /// and dates inside a container, which a JSONValue cannot hold.
  static PropertyValue propertyListWithData(const Data& data, PropertyListFormat* format = nullptr,
                                            Error* error = nullptr);
};

}  // namespace oq
