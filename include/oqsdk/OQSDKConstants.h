// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "oqsdk/Export.h"

namespace oq {

/// The library's version as it is sent to the server, for example "1.2.3".
OQSDK_EXPORT extern const std::string& OQSDKVersion;
/// The version of the public C++ interface, for example 1.0. It changes independently of OQSDKVersion.
OQSDK_EXPORT extern const double OQSDKVersionNumber;
/// Identifies the library in a binary; ends with a line feed and a NUL byte.
OQSDK_EXPORT extern const unsigned char OQSDKVersionString[];
/// The library's own identifier, in reverse-domain form; also the prefix of its queues' labels.
OQSDK_EXPORT extern const std::string& OQSDKBundleId;

}  // namespace oq
