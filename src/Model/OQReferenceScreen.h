// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Windows/UIScreen.h"

namespace oq {

/// The reference screen has 590.5 x 1274.5 units. The lengths of messages are given in these units, and are multiplied
/// by the number of points per unit on the main screen. This number is 0 before there is a screen.
struct OQReferenceScreen {
  static double widthUnit() { return UIScreen::mainScreen().bounds().size.width / 590.5; }
  static double heightUnit() { return UIScreen::mainScreen().bounds().size.height / 1274.5; }
};

}  // namespace oq
