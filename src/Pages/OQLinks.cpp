// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQLinks.h"

#include "Pages/OQWebController.h"
#include "UIKit/Windows/BrowserLaunch.h"
#include "Utils/OQConsent.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

void OQLinks::open(const std::string& url) {
  if (OQConsent::isMissing()) return;
  if (canShowWebPages()) return OQWebController::open(url);
  openInBrowser(url);
}

}  // namespace oq
