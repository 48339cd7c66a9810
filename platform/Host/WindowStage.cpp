// SPDX-License-Identifier: Apache-2.0
#include "Host/WindowStage.h"

#include <cmath>

#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Painting/Painter.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

namespace {

/// Whether the front-most dialog is a message or an alert. While a page is shown, the front-most dialog may also be the
/// view of the root controller, which contains the page.
bool showsMessage(const UIWindow& window) {
  const auto dialog = frontmostDialog(window);
  const auto root = window.rootViewController();
  return dialog && !(root && dialog == root->view());
}

}  // namespace

WindowStage::WindowStage(CGSize window, std::optional<double> maximumScale)
    : _size(window), _maximumScale(maximumScale) {
  if (_maximumScale && !(std::isfinite(*_maximumScale) && *_maximumScale > 0))
    _maximumScale = Stage::defaultMaximumScale;
  _stage = placed(wantedSize());
}

void WindowStage::setWindow(std::shared_ptr<UIWindow> window) {
  _window = std::move(window);
  if (_window) _window->setFrame({{}, _stage.size});
}

CGSize WindowStage::wantedSize() const {
  return _maximumScale ? Stage::sizeFor(_size) : _size;
}

Stage WindowStage::placed(CGSize size) const {
  return _maximumScale ? Stage::in(_size, size, *_maximumScale) : Stage{size, 1, {}};
}

bool WindowStage::resize(CGSize window) {
  if (CGRect{{}, window}.isEmpty()) return false;
  _size = window;
  const bool keepsSize = _maximumScale && _window && _window->isCovered();
  return set(keepsSize ? _stage.size : wantedSize());
}

bool WindowStage::isOutdated() const {
  return isPlaced() && wantedSize() != _stage.size;
}

bool WindowStage::update() {
  if (!isOutdated() || (_window && showsMessage(*_window))) return false;
  return set(wantedSize());
}

bool WindowStage::set(CGSize size) {
  const Stage next = placed(size);
  if (next == _stage) return false;
  _stage = next;
  if (_window) _window->setFrame({{}, size});
  return true;
}

void WindowStage::paint(Painter& painter, double now) const {
  const CGRect all = _stage.windowInStage(_size);
  const CGSize size = _stage.size;
  const UIColor color = surroundingsColor(*_window, now);
  painter.pushTranslation(-all.minX(), -all.minY());
  painter.fill(CGRectMake(all.minX(), all.minY(), all.size.width, -all.minY()), 0, color);
  painter.fill(CGRectMake(all.minX(), size.height, all.size.width, all.maxY() - size.height), 0, color);
  painter.fill(CGRectMake(all.minX(), 0, -all.minX(), size.height), 0, color);
  painter.fill(CGRectMake(size.width, 0, all.maxX() - size.width, size.height), 0, color);
  painter.pushClip({{}, size}, 0);
  paintWindow(*_window, painter, now);
  painter.pop();
  painter.pop();
}

}  // namespace oq
