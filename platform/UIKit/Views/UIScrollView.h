#pragma once

#include <vector>

#include <memory>
#include <utility>

#include "UIKit/Views/UIView.h"

namespace oq {

class UIRefreshControl;

/// Shows a part of something larger; the origin of its bounds is the part. Clips. Scrolls by drag, wheel and
/// touchpad, within its content, and rolls on when it is let go in motion, until it is touched again. Main
/// thread only.
class UIScrollView : public UIView {
  OQ_CLASS(UIScrollView)

 public:
  UIScrollView();
  CGSize contentSize() const { return _contentSize; }
  void setContentSize(CGSize size);
  /// Where it is, or will have come to when it stops rolling.
  CGPoint contentOffset() const { return bounds().origin; }
  /// Clamped to the content; ends the rolling.
  void setContentOffset(CGPoint offset);
  bool isDecelerating() const { return layer().isAnimating(); }
  bool showsHorizontalScrollIndicator() const { return _showsHorizontal; }
  void setShowsHorizontalScrollIndicator(bool shows) { _showsHorizontal = shows; }
  bool showsVerticalScrollIndicator() const { return _showsVertical; }
  void setShowsVerticalScrollIndicator(bool shows) { _showsVertical = shows; }
  /// What a pull beyond the top is for; told by whoever notices the pull.
  const std::shared_ptr<UIRefreshControl>& refreshControl() const { return _refreshControl; }
  void setRefreshControl(std::shared_ptr<UIRefreshControl> control) { _refreshControl = std::move(control); }

  /// While it rolls every touch is its own.
  std::shared_ptr<UIView> hitTest(CGPoint point) override;
  void touchesBegan(UITouch& touch) override;
  void touchesMoved(UITouch& touch) override;
  void touchesEnded(UITouch& touch) override;
  /// A vertical drag of more than 10 points, where there is something to scroll.
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
  /// Stays where it is on screen.
  void stop();
  /// Rolls on from the velocity, in points a second; false when that is too slow, or at the end already, or where the
  /// user wants no animations: then it stays where it was let go instead of jumping to where it would come to rest.
  bool decelerate(CGPoint velocity);
  CGPoint velocityAt(double time) const;

  CGSize _contentSize;
  CGPoint _dragStart, _offsetAtStart;
  std::vector<Sample> _drag;  ///< where the finger was lately
  bool _showsHorizontal = true;
  bool _showsVertical = true;
  std::shared_ptr<UIRefreshControl> _refreshControl;
};

}  // namespace oq
