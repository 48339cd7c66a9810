// SPDX-License-Identifier: Apache-2.0
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Painting/LayerContent.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/Motion.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

constexpr double kArrowStep = 40;  // points
constexpr double kPage = 0.9;      // fraction of the visible height
constexpr double kFarAway = 1e9;   // points
constexpr double kRingWidth = 2.5, kRingCorner = 6;

bool scroll(UIView& view, UIKeyboardKey key) {
  const double page = kPage * view.bounds().size.height;
  switch (key) {
    case UIKeyboardKey::Up:
      return view.scrollBy(0, -kArrowStep);
    case UIKeyboardKey::Down:
      return view.scrollBy(0, kArrowStep);
    case UIKeyboardKey::PageUp:
      return view.scrollBy(0, -page);
    case UIKeyboardKey::PageDown:
      return view.scrollBy(0, page);
    case UIKeyboardKey::Home:
      return view.scrollBy(0, -kFarAway);
    case UIKeyboardKey::End:
      return view.scrollBy(0, kFarAway);
    default:
      return false;
  }
}

bool scrollFirst(UIView& view, UIKeyboardKey key) {
  if (view.isHidden()) return false;
  if (scroll(view, key)) return true;
  const auto children = view.subviews();
  return std::any_of(children.begin(), children.end(), [key](const auto& child) { return scrollFirst(*child, key); });
}

}  // namespace

bool isInMotion(const UIView& view) {
  if (view.layer().isInMotion()) return true;
  return std::any_of(view.subviews().begin(), view.subviews().end(),
                     [](const auto& child) { return isInMotion(*child); });
}

std::shared_ptr<UIView> UIWindow::focusedView() const {
  auto view = _focused.lock();
  return view && view->window() == this ? view : nullptr;
}

void UIWindow::setFocusedView(const std::shared_ptr<UIView>& view) {
  if (focusedView() == view) return;
  _focused = view;
  setNeedsFrame();
}

bool UIWindow::pressKey(UIKeyboardKey key) {
  const auto self = shared_from_this();
  const auto dialog = frontmostDialog(*this);
  // An animated dialog ignores all keys. They do not reach the host's widgets behind the dialog either.
  if (dialog && isInMotion(*dialog)) return true;
  switch (key) {
    case UIKeyboardKey::Tab:
      return moveFocus(dialog, true) || dialog;
    case UIKeyboardKey::BackTab:
      return moveFocus(dialog, false) || dialog;
    case UIKeyboardKey::Return: {
      const auto focused = focusedView();
      const bool within = focused && (!dialog || focused->isInside(*dialog));
      return (within && focused->accessibilityActivate()) || dialog;
    }
    case UIKeyboardKey::Escape:
      if (dialog) dialog->accessibilityPerformEscape();
      return dialog != nullptr;
    case UIKeyboardKey::Back:
      if (dialog) dialog->accessibilityPerformBack();
      return dialog != nullptr;
    default:
      if (dialog) scrollFirst(*dialog, key);
      return dialog != nullptr;
  }
}

/// Wraps around inside a dialog. Without a dialog, the focus goes from the last element to the host's widgets.
bool UIWindow::moveFocus(const std::shared_ptr<UIView>& dialog, bool forward) {
  auto elements = accessibilityElements(dialog ? dialog : shared_from_this());
  std::erase_if(elements, [](const auto& element) { return !canBecomeFocused(*element); });
  if (!forward) std::reverse(elements.begin(), elements.end());
  const auto focused = std::find(elements.begin(), elements.end(), focusedView());
  auto next = focused == elements.end() ? elements.begin() : focused + 1;
  if (next == elements.end() && dialog) next = elements.begin();
  setFocusedView(next == elements.end() ? nullptr : *next);
  return next != elements.end();
}

const std::shared_ptr<LayerContent>& UIWindow::focusRing(CGSize size) {
  if (_focusRing && _focusRing->size() == size) return _focusRing;
  _focusRing = std::make_shared<LayerContent>(size, [size](cairo_t* cr) {
    // Blue on white, so that it is visible on any colour of a campaign.
    const double inset = kRingWidth;
    addRoundedRect(cr, {{inset, inset}, {size.width - 2 * inset, size.height - 2 * inset}}, kRingCorner);
    cairo_set_line_width(cr, 2 * kRingWidth);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_stroke_preserve(cr);
    cairo_set_line_width(cr, kRingWidth);
    cairo_set_source_rgb(cr, 0.11, 0.44, 0.85);
    cairo_stroke(cr);
  });
  return _focusRing;
}

}  // namespace oq
