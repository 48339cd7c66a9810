#pragma once

#include <string>

namespace oq {

/// The operating system's own version ("12.11"), from os-release; "" when it says none.
std::string operatingSystemVersion();
/// The machine field of uname ("x86_64").
std::string machineIdentifier();

/// The version of the platform layer that decides between old and new ways of the interface: 13.0 or more unless a test
/// sets another.
double platformSystemVersion();
void setPlatformSystemVersion(double version);

/// An identifier of this installation, made once and kept beside the preferences: upper-case UUID text. The same for
/// every process of the application; "" only when it can be neither read nor kept.
std::string identifierForVendor();

}  // namespace oq
