#pragma once

#include "UIKit/Views/UIControl.h"

namespace oq {

/// What a scrolling view is pulled down for. It shows at the view's top from the pull, which it tells as
/// "value changed", until endRefreshing(). Main thread only.
class UIRefreshControl : public UIControl {
  OQ_CLASS(UIRefreshControl)

 public:
  UIRefreshControl();
  bool isRefreshing() const { return _refreshing; }
  void beginRefreshing() { _refreshing = true; }
  void endRefreshing();
  /// The view was pulled down beyond its top; a pull during the refreshing counts for nothing.
  void pulledDownOver(UIView& scrolled);

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  bool _refreshing = false;
};

}  // namespace oq
