// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Views/Animation.h"
#include "UIKit/Views/UIView.h"

namespace oq {

void UIView::animateWithDuration(double duration, const std::function<void()>& animations,
                                 std::function<void(bool)> completion) {
  struct Commit {
    ~Commit() { AnimationEngine::shared().commit(); }
  };
  AnimationEngine::shared().begin({duration}, std::move(completion));
  const Commit commit;
  if (animations) animations();
}

void UIView::removeAnimationsInSubtree() {
  _layer.removeAllAnimations();
  for (const auto& child : _subviews) child->removeAnimationsInSubtree();
}

}  // namespace oq
