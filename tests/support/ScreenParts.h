// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Pages/OQNavigation.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace oq::test {

/// The view and the views below it that are of this type, in tree order.
template <class View>
std::vector<std::shared_ptr<View>> viewsIn(const std::shared_ptr<UIView>& root) {
  std::vector<std::shared_ptr<View>> found;
  std::function<void(const std::shared_ptr<UIView>&)> collect = [&](const auto& view) {
    if (auto fitting = std::dynamic_pointer_cast<View>(view)) found.push_back(fitting);
    for (const auto& child : view->subviews()) collect(child);
  };
  if (root) collect(root);
  return found;
}

template <class View>
std::vector<std::shared_ptr<View>> viewsOnScreen() {
  return viewsIn<View>(OQNavigation::keyWindow());
}

inline std::vector<std::string> buttonTitlesOnScreen() {
  std::vector<std::string> titles;
  for (const auto& button : viewsOnScreen<UIButton>())
    titles.push_back(button->titleForState(UIControlStateNormal).value_or("(untitled)"));
  return titles;
}

/// Taps the centre of the view. Returns false if another view covers this point.
inline bool tap(HeadlessHost& host, const UIView& view) {
  const CGPoint at = view.convertPointToWindow(view.bounds().center());
  return OQNavigation::keyWindow()->hitTest(at).get() == &view && host.tap(at.x, at.y);
}

/// Taps the button with this title.
inline bool tapButton(HeadlessHost& host, const std::string& title) {
  for (const auto& button : viewsOnScreen<UIButton>()) {
    if (button->titleForState(UIControlStateNormal) == title) return tap(host, *button);
  }
  return false;
}

}  // namespace oq::test
