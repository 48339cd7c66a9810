// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "UIKit/Controllers/UINavigationItem.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// The bar above a page: shows the page's left item and its centred title. Create it with makeMainObject(); main thread
/// only.
class UINavigationBar : public UIView {
  OQ_CLASS(UINavigationBar)

 public:
  static constexpr double standardHeight = 44;
  UINavigationBar();
  ~UINavigationBar() override;

  const std::shared_ptr<UINavigationItem>& topItem() const { return _item; }
  /// Shows the item and follows its changes; nullptr removes it.
  void setTopItem(std::shared_ptr<UINavigationItem> item);
  void superviewDidResize() override {
    if (onSuperviewResize) onSuperviewResize();
  }
  /// Set by the controller that owns the bar.
  std::function<void()> onSuperviewResize;

 private:
  void release();
  void showItem();
  void layOut();

  std::shared_ptr<UINavigationItem> _item;
  std::shared_ptr<UIView> _left, _line;
  std::shared_ptr<UILabel> _title;
};

}  // namespace oq
