// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json/value.hpp>

namespace oq {

/// Any object of a message: null, boolean, number, string, array or dictionary. Dictionaries keep the order of their
/// keys. A null Value stands for "no object"; an empty string, array or dictionary is an object.
using Value = boost::json::value;
/// Keys and what they stand for, in the order in which they came.
using Dictionary = boost::json::object;
/// Values in order.
using Array = boost::json::array;

}  // namespace oq
