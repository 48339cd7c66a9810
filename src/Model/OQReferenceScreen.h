// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Windows/UIScreen.h"

namespace oq {

/// The screen for which the lengths of messages are given: 590.5 x 1274.5. A length is multiplied by the points that
/// one unit of it takes on the main screen; 0 before there is a screen.
struct OQReferenceScreen {
  static double widthUnit() { return UIScreen::mainScreen().bounds().size.width / 590.5; }
  static double heightUnit() { return UIScreen::mainScreen().bounds().size.height / 1274.5; }
};

}  // namespace oq
