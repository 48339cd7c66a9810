#include "oqsdk/OQSDKConstants.h"

#include "OQSDKBundleIdentifier.h"

namespace oq {

const std::string OQSDKVersion = "0.8.6";
const double OQSDKVersionNumber = 1.0;
const unsigned char OQSDKVersionString[] = "@(#)PROGRAM:OQSDK  PROJECT:OQSDK-1\n";
const std::string OQSDKBundleId = OQSDK_BUNDLE_IDENTIFIER;

}  // namespace oq
