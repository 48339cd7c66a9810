#pragma once

#include "oqsdk/Runtime.h"

/// What the library's own hooks need from the class runtime. Any thread.
namespace oq::detail {

/// From now on messages that find this method call `entry` (see MessageTarget) until the process ends, whatever other
/// libraries make the method's implementation.
void setMessageEntry(Method& method, IMP entry);
/// nullptr for a method whose messages call its implementation directly.
IMP messageEntry(const Method& method);
/// What the method was made with; nullptr without a method.
IMP firstImplementation(const Method* method);

}  // namespace oq::detail
