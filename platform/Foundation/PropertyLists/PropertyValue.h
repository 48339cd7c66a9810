#pragma once

#include <variant>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// What user defaults can hold. A null JSONValue is "nothing": storing it removes the entry.
using PropertyValue = std::variant<JSONValue, Data, Date>;

}  // namespace oq
