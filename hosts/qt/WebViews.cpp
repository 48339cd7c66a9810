// SPDX-License-Identifier: Apache-2.0
#include "WebViews.h"

#include <algorithm>
#include <utility>

#include "Host/NativePlace.h"
#include "UIKit/Views/UIView.h"

namespace oq::qt {

namespace {

constexpr int kFrame = 16;  ///< milliseconds

QRect rectOf(const CGRect& rect) {
  return QRectF(rect.minX(), rect.minY(), rect.size.width, rect.size.height).toAlignedRect();
}

/// Adds the area that the view and its subviews paint. A view without a background and with subviews only groups them.
void addPainted(const UIView& view, const Stage& stage, QRegion& area) {
  if (view.isHidden() || view.alpha() <= 0) return;
  if (view.backgroundColor().alpha > 0 || view.subviews().empty()) {
    if (const auto place = nativePlaceOf(view, stage)) area += rectOf(place->clip);
  }
  for (const auto& each : view.subviews()) addPainted(*each, stage, area);
}

/// The area of the window that views in front of the view cover.
QRegion coversOf(const UIView& view, const Stage& stage) {
  QRegion area;
  const UIView* child = &view;
  for (auto above = view.superview(); above; above = above->superview()) {
    const auto& siblings = above->subviews();
    auto next = std::find_if(siblings.begin(), siblings.end(), [&](const auto& each) { return each.get() == child; });
    for (next = next == siblings.end() ? next : std::next(next); next != siblings.end(); ++next)
      addPainted(**next, stage, area);
    child = above.get();
  }
  return area;
}

}  // namespace

WebViews::WebViews(QWidget& layer, HostSurface& surface) : _layer(layer), _surface(surface) {
  _animation.setSingleShot(true);
  QObject::connect(&_animation, &QTimer::timeout, &_layer, [this] { update(); });
}

WebViews::~WebViews() {
  while (!_entries.empty()) remove(*_entries.back()->view);
}

void WebViews::add(UIView& view, QWidget& widget, std::function<void(double)> zoom, std::function<bool()> isReady) {
  _entries.push_back(std::unique_ptr<Entry>(new Entry{&view, &widget, std::move(zoom), std::move(isReady)}));
  widget.hide();
  widget.setParent(_layer.parentWidget());
  update();
}

void WebViews::remove(UIView& view) {
  const auto found =
      std::find_if(_entries.begin(), _entries.end(), [&](const auto& each) { return each->view == &view; });
  if (found == _entries.end()) return;
  const QPointer<QWidget> widget = (*found)->widget;
  _entries.erase(found);
  if (!widget) return;
  widget->hide();
  widget->setParent(nullptr);
}

void WebViews::update() {
  // A widget that appears may change the views.
  for (std::size_t index = 0; index < _entries.size(); ++index) place(*_entries[index]);
}

void WebViews::place(Entry& entry) {
  if (!entry.widget) return;
  const Stage& stage = _surface.stage();
  const auto place = nativePlaceOf(*entry.view, stage);
  if (entry.scale != stage.scale) entry.zoom(entry.scale = stage.scale);
  const bool isAnimating = _surface.isAnimating();
  if (isAnimating) _animation.start(kFrame);
  // Once shown, it stays while other views are animated.
  const bool isDelayed = isAnimating && entry.widget->isHidden();
  if (!place || isDelayed || !entry.isReady()) return entry.widget->hide();
  const QRect frame = rectOf(place->frame);
  const QRegion visible = QRegion(rectOf(place->clip)) - coversOf(*entry.view, stage);
  if (visible.isEmpty()) return entry.widget->hide();
  show(entry, frame, visible.translated(-frame.topLeft()));
}

void WebViews::show(Entry& entry, const QRect& frame, const QRegion& visible) {
  QWidget& widget = *entry.widget;
  if (widget.geometry() != frame) widget.setGeometry(frame);
  const bool isWhole = visible == QRegion(widget.rect());
  if (isWhole && !widget.mask().isEmpty()) widget.clearMask();
  if (!isWhole && widget.mask() != visible) widget.setMask(visible);
  if (!widget.isHidden()) return;
  widget.show();
  widget.raise();
  // The user of a keyboard begins in the page.
  const bool hasLayerFocus = _layer.parentWidget()->focusWidget() == &_layer;
  if (!std::exchange(entry.wasShown, true) && hasLayerFocus) widget.setFocus(Qt::PopupFocusReason);
}

void WebViews::raise() {
  for (const auto& each : _entries) {
    if (each->widget && !each->widget->isHidden()) each->widget->raise();
  }
}

bool WebViews::contains(const QWidget* widget) const {
  return widget && std::any_of(_entries.begin(), _entries.end(), [&](const auto& each) {
           return each->widget && (each->widget == widget || each->widget->isAncestorOf(widget));
         });
}

bool WebViews::isAt(const QPoint& point) const {
  return std::any_of(_entries.begin(), _entries.end(), [&](const auto& each) {
    if (!each->widget || each->widget->isHidden()) return false;
    const QPoint inside = point - each->widget->pos();
    const QRegion mask = each->widget->mask();
    return each->widget->rect().contains(inside) && (mask.isEmpty() || mask.contains(inside));
  });
}

bool WebViews::hasFocus() const {
  const QWidget* focused = _layer.parentWidget() ? _layer.parentWidget()->focusWidget() : nullptr;
  return focused && focused->isVisible() && contains(focused);
}

}  // namespace oq::qt
