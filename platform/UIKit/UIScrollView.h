#pragma once

#include "UIKit/UIView.h"

namespace oq {

/// Shows a part of something larger; the origin of its bounds is the part. Clips. Scrolls by drag and wheel, within its
/// content. Main thread only.
class UIScrollView : public UIView {
  OQ_CLASS(UIScrollView)

 public:
  UIScrollView();
  CGSize contentSize() const { return _contentSize; }
  void setContentSize(CGSize size);
  CGPoint contentOffset() const { return bounds().origin; }
  /// Clamped to the content.
  void setContentOffset(CGPoint offset);
  bool showsHorizontalScrollIndicator() const { return _showsHorizontal; }
  void setShowsHorizontalScrollIndicator(bool shows) { _showsHorizontal = shows; }
  bool showsVerticalScrollIndicator() const { return _showsVertical; }
  void setShowsVerticalScrollIndicator(bool shows) { _showsVertical = shows; }

  void touchesBegan(UITouch& touch) override;
  void touchesMoved(UITouch& touch) override;
  /// A vertical drag of more than 10 points, where there is something to scroll.
  bool takesOver(const UITouch& touch) const override;
  bool scrollBy(double dx, double dy) override;

 private:
  CGSize _contentSize;
  CGPoint _dragStart, _offsetAtStart;
  bool _showsHorizontal = true;
  bool _showsVertical = true;
};

}  // namespace oq
