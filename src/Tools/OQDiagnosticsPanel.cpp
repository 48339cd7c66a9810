// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/OQDiagnosticsPanel.h"

#include "Pages/OQNavigation.h"
#include "Tools/OQDiagnosticsController.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/MainObject.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"

namespace oq {

void OQDiagnosticsPanel::show() {
  auto present = [] {
    const auto navigation = OQNavigation::currentNavigation();
    if (navigation && !navigation->presentedViewController())
      navigation->presentViewController(makeMainObject<OQDiagnosticsController>(), true);
  };
  guarded([&] { OQDispatchQueueManager::dispatchInMainThread(present, true); });
}

}  // namespace oq
