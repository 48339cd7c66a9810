// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <variant>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Date.h"
#include "oqsdk/Value.h"

namespace oq {

/// A value of the user defaults. A null Value means "no value": storing it removes the entry.
using PropertyValue = std::variant<Value, Data, Date>;

}  // namespace oq
