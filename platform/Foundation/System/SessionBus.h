#pragma once

#include <string>

namespace oq {

/// Where the session bus is by the environment, or "". A kind of address that would start a program is none.
std::string sessionBusAddress();

}  // namespace oq
