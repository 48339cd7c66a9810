// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Runtime.h"

/// What the library's own hooks need from the class runtime. Thread-safe.
namespace oq::detail {

/// From now on, messages that find this method call `entry` (see MessageTarget) until the process ends, even if other
/// libraries replace the method's implementation.
void setMessageEntry(Method& method, IMP entry);
/// nullptr for a method whose messages call its implementation directly.
IMP messageEntry(const Method& method);
/// The implementation that the method was created with; nullptr without a method.
IMP firstImplementation(const Method* method);

}  // namespace oq::detail
