// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "CoreGraphics/Geometry.h"

namespace oq {

class UIView;
class UIWindow;

enum class UITouchPhase { Began, Moved, Ended, Cancelled };

/// One finger or pointer button, from press to release. It belongs to the view in which it began.
struct UITouch {
  UITouchPhase phase = UITouchPhase::Began;
  CGPoint locationInWindow;
  CGPoint startInWindow;
  double timestamp = 0;  ///< seconds on the animation clock
  std::weak_ptr<UIView> view;

  CGPoint locationIn(const UIView& view) const;
};

}  // namespace oq
