// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <memory>
#include <utility>

#include "UIKit/Views/UIView.h"

namespace oq {

class UIRefreshControl;

/// Shows and clips a part of a larger content; the origin of its bounds selects the part. Scrolls within its content by
/// drag, wheel and touchpad. If the finger still moves at the end of a drag, the view decelerates until it stops or is
/// touched. Main thread only.
class UIScrollView : public UIView {
  OQ_CLASS(UIScrollView)

 public:
  UIScrollView();
  CGSize contentSize() const { return _contentSize; }
  void setContentSize(CGSize size);
  /// The current offset. While the view decelerates: the offset at which it will stop.
  CGPoint contentOffset() const { return bounds().origin; }
  /// Clamped to the content; ends the deceleration.
  void setContentOffset(CGPoint offset);
  bool isDecelerating() const { return layer().isAnimating(); }
  bool showsHorizontalScrollIndicator() const { return _showsHorizontal; }
  void setShowsHorizontalScrollIndicator(bool shows) { _showsHorizontal = shows; }
  bool showsVerticalScrollIndicator() const { return _showsVertical; }
  void setShowsVerticalScrollIndicator(bool shows) { _showsVertical = shows; }
  /// The control to show for a pull beyond the top. The scroll view only stores it; the code that detects the pull
  /// notifies the control.
  const std::shared_ptr<UIRefreshControl>& refreshControl() const { return _refreshControl; }
  void setRefreshControl(std::shared_ptr<UIRefreshControl> control) { _refreshControl = std::move(control); }

  /// While the view decelerates, it gets every touch itself instead of a subview, so that a touch stops the motion and
  /// presses nothing.
  std::shared_ptr<UIView> hitTest(CGPoint point) override;
  void touchesBegan(UITouch& touch) override;
  void touchesMoved(UITouch& touch) override;
  void touchesEnded(UITouch& touch) override;
  /// Takes over a vertical drag of more than 10 points if the content is higher than the view.
  bool takesOver(const UITouch& touch) const override;
  bool scrollBy(double dx, double dy) override;
  bool flingBy(double dx, double dy) override;

 private:
  struct Sample {
    double time;
    CGPoint at;
  };
  CGPoint clamped(CGPoint offset) const;
  CGPoint shownOffset() const;
  /// Stops at the offset that is on screen.
  void stop();
  /// Starts decelerating from the velocity, in points per second. False if the velocity is too low, if the end of the
  /// content is already reached, or if the user wants no animations. Then the view stays where it is; it does not jump
  /// to the final offset.
  bool decelerate(CGPoint velocity);
  CGPoint velocityAt(double time) const;

  CGSize _contentSize;
  CGPoint _dragStart, _offsetAtStart;
  std::vector<Sample> _drag;  ///< recent positions of the finger
  bool _showsHorizontal = true;
  bool _showsVertical = true;
  std::shared_ptr<UIRefreshControl> _refreshControl;
};

}  // namespace oq
