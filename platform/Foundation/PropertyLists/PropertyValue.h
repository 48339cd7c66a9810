// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <variant>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// A value of the user defaults. A null JSONValue means "no value": storing it removes the entry.
using PropertyValue = std::variant<JSONValue, Data, Date>;

}  // namespace oq
