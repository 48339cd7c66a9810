// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace oq {

/// The operating system's version ("12.11") from os-release; "" if it has none.
std::string operatingSystemVersion();
/// The machine field of uname ("x86_64").
std::string machineIdentifier();

/// The version of the platform layer, by which the pages choose between old and new behaviour: 13.0 unless a test sets
/// another.
double platformSystemVersion();
void setPlatformSystemVersion(double version);

/// An identifier of this installation: an upper-case UUID, created once and kept in the preferences folder. All
/// processes of the application share it. "" only if it can be neither read nor stored.
std::string identifierForVendor();
/// Removes the identifier; the next call of identifierForVendor() creates another one.
void forgetIdentifierForVendor();

}  // namespace oq
