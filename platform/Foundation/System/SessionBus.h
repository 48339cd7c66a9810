// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace oq {

/// The address of the session bus from the environment; "" if there is none. Addresses that would start a program are
/// ignored.
std::string sessionBusAddress();

}  // namespace oq
