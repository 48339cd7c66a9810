#include "oqsdk/OQDiagnosticsPanel.h"

#include "Manager/OQDispatchQueueManager.h"
#include "UI/OQDiagnosticsController.h"
#include "UIKit/MainObject.h"
#include "UIKit/UINavigationController.h"
#include "Utils/OQGuard.h"
#include "Utils/OQNavigation.h"

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
