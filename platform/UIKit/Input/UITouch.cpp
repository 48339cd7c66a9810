// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Input/UITouch.h"

#include "UIKit/Views/UIView.h"

namespace oq {

CGPoint UITouch::locationIn(const UIView& other) const {
  return other.convertPointFromWindow(locationInWindow);
}

}  // namespace oq
