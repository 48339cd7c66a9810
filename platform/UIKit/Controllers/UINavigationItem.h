// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "UIKit/Views/UIView.h"

namespace oq {

/// One item of a navigation bar: a custom view. Main thread only.
class UIBarButtonItem {
 public:
  explicit UIBarButtonItem(std::shared_ptr<UIView> customView) : _customView(std::move(customView)) {}
  const std::shared_ptr<UIView>& customView() const { return _customView; }

 private:
  std::shared_ptr<UIView> _customView;
};

/// What a navigation bar shows for one page; each page has its own item. Main thread only.
class UINavigationItem {
 public:
  const std::optional<std::string>& title() const { return _title; }
  void setTitle(std::optional<std::string> title) {
    if (title == _title) return;
    _title = std::move(title);
    if (onChange) onChange();
  }
  const std::shared_ptr<UIBarButtonItem>& leftBarButtonItem() const { return _left; }
  void setLeftBarButtonItem(std::shared_ptr<UIBarButtonItem> item) {
    if (item == _left) return;
    _left = std::move(item);
    if (onChange) onChange();
  }
  /// Set by the bar that shows the item; `shownBy` is that bar.
  std::function<void()> onChange;
  const void* shownBy = nullptr;

 private:
  std::optional<std::string> _title;
  std::shared_ptr<UIBarButtonItem> _left;
};

}  // namespace oq
