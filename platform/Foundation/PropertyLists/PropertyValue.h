#pragma once

#include <variant>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "oqsdk/Value.h"

namespace oq {

/// What user defaults can hold. A null Value is "nothing": storing it removes the entry.
using PropertyValue = std::variant<Value, Data, Date>;

}  // namespace oq
