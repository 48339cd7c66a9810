// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/OQSDKConstants.h"

#include "Utils/OQSDKBundleIdentifier.h"

namespace oq {

// Never destroyed: threads may still send and log while the process exits.
const std::string& OQSDKVersion = *new std::string(OQSDK_VERSION);
const double OQSDKVersionNumber = 1.0;
const unsigned char OQSDKVersionString[] = "@(#)PROGRAM:OQSDK  PROJECT:OQSDK-1\n";
const std::string& OQSDKBundleId = *new std::string(OQSDK_BUNDLE_IDENTIFIER);

}  // namespace oq
