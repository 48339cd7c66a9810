// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Views/UIControl.h"

namespace oq {

/// The indicator for "pull to refresh". A pull shows it at the view's top and sends UIControlEventValueChanged;
/// endRefreshing() removes it. Main thread only.
class UIRefreshControl : public UIControl {
  OQ_CLASS(UIRefreshControl)

 public:
  UIRefreshControl();
  bool isRefreshing() const { return _refreshing; }
  void beginRefreshing() { _refreshing = true; }
  void endRefreshing();
  /// To be called when the view was pulled down beyond its top; ignored during a refresh.
  void pulledDownOver(UIView& scrolled);

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override;

 private:
  bool _refreshing = false;
};

}  // namespace oq
