// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/Accessibility.h"

#include "UIKit/Input/UIGestureRecognizer.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

void collect(const std::shared_ptr<UIView>& view, std::vector<std::shared_ptr<UIView>>& found) {
  if (!isShown(*view)) return;
  if (view->isAccessibilityElement()) {
    bool isReported = !view->accessibilityLabel().empty() || canBecomeFocused(*view);
    if (isReported) found.push_back(view);
    return;
  }
  for (const auto& child : view->subviews()) collect(child, found);
}

std::shared_ptr<UIView> dialogIn(const UIView& view) {
  const auto& children = view.subviews();
  for (auto child = children.rbegin(); child != children.rend(); ++child) {
    if (!isShown(**child)) continue;
    if (auto inner = dialogIn(**child)) return inner;
    if ((*child)->accessibilityViewIsModal()) return *child;
  }
  return nullptr;
}

}  // namespace

bool isShown(const UIView& view) {
  return !view.isHidden() && (view.alpha() >= 0.01 || view.layer().isAnimating());
}

std::shared_ptr<UIView> frontmostDialog(const UIWindow& window) {
  return dialogIn(window);
}

std::vector<std::shared_ptr<UIView>> accessibilityElements(const std::shared_ptr<UIView>& root) {
  std::vector<std::shared_ptr<UIView>> found;
  if (isShown(*root)) {
    for (const auto& child : root->subviews()) collect(child, found);
  }
  return found;
}

bool canBecomeFocused(const UIView& element) {
  const UIAccessibilityTraits traits = element.accessibilityTraits();
  return (traits & (UIAccessibilityTraitButton | UIAccessibilityTraitLink)) &&
         !(traits & UIAccessibilityTraitNotEnabled) && element.isUserInteractionEnabled();
}

bool UIView::isPressable() const {
  return canBecomeFocused(*this);
}

void UIView::setIsAccessibilityElement(bool is) {
  if (_isAccessibilityElement == is) return;
  _isAccessibilityElement = is;
  setNeedsFrame();
}

void UIView::setAccessibilityLabel(std::optional<std::string> label) {
  if (_accessibilityLabel == label) return;
  _accessibilityLabel = std::move(label);
  setNeedsFrame();
}

void UIView::setAccessibilityTraits(UIAccessibilityTraits traits) {
  if (_accessibilityTraits == traits) return;
  _accessibilityTraits = traits;
  setNeedsFrame();
}

void UIView::setAccessibilityViewIsModal(bool modal) {
  if (_accessibilityViewIsModal == modal) return;
  _accessibilityViewIsModal = modal;
  setNeedsFrame();
}

bool UIView::accessibilityActivate() {
  const auto self = shared_from_this();
  const auto recognizers = _recognizers;
  for (const auto& recognizer : recognizers) {
    if (recognizer->activate()) return true;
  }
  return false;
}

}  // namespace oq
