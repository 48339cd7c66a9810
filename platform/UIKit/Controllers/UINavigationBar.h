#pragma once

#include <memory>

#include "UIKit/Controllers/UINavigationItem.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// The bar above a page: the page's left item, and its title in the middle. Made with makeMainObject(); main
/// thread only.
class UINavigationBar : public UIView {
  OQ_CLASS(UINavigationBar)

 public:
  static constexpr double standardHeight = 44;
  UINavigationBar();
  ~UINavigationBar() override;

  const std::shared_ptr<UINavigationItem>& topItem() const { return _item; }
  /// Follows the item's changes from now on; nullptr for none.
  void setTopItem(std::shared_ptr<UINavigationItem> item);
  void superviewDidResize() override {
    if (onSuperviewResize) onSuperviewResize();
  }
  /// Set by the controller whose bar this is.
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
