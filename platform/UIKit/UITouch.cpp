#include "UIKit/UITouch.h"

#include "UIKit/UIView.h"

namespace oq {

CGPoint UITouch::locationIn(const UIView& other) const {
  return other.convertPointFromWindow(locationInWindow);
}

}  // namespace oq
