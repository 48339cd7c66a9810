// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Runtime.h"

/// Functions of the class runtime for the library's own hooks. Thread-safe.
namespace oq::detail {

/// From now on, messages that find this method call `entry` (see MessageTarget) until the process ends, even if other
/// libraries replace the method's implementation.
void setMessageEntry(Method& method, IMP entry);
/// The entry that setMessageEntry() set; nullptr for a method whose messages call its implementation directly.
IMP messageEntry(const Method& method);
/// The implementation that the method was created with; nullptr if `method` is nullptr.
IMP firstImplementation(const Method* method);

}  // namespace oq::detail
