// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/DialogPage.h"

#include <utility>

#include "UIKit/Windows/UIScreen.h"

namespace oq {

DialogPage::DialogPage(std::string name, std::function<bool()> escape)
    : UIView(UIScreen::mainScreen().bounds()), _escape(std::move(escape)) {
  setBackgroundColor(UIColor::blackColor().withAlphaComponent(0.35));
  setFillsSurroundings(true);
  setAccessibilityViewIsModal(true);
  setAccessibilityLabel(std::move(name));
}

}  // namespace oq
