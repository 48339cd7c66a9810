// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Windows/UIScreen.h"

namespace oq {

/// Lengths in the layout of messages are given in units of a reference screen of 590.5 x 1274.5 units. The functions
/// return the number of points per unit on the main screen, by which such a length is multiplied; 0 before a host is
/// installed.
struct OQReferenceScreen {
  static double widthUnit() { return UIScreen::mainScreen().bounds().size.width / 590.5; }
  static double heightUnit() { return UIScreen::mainScreen().bounds().size.height / 1274.5; }
};

}  // namespace oq
