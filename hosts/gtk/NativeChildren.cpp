// SPDX-License-Identifier: Apache-2.0
#include "NativeChildren.h"

#include <algorithm>
#include <cmath>

#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/Accessibility.h"

namespace oq::gtk {

namespace {

bool isShownInWindow(const UIView& view) {
  if (!isShown(view)) return false;
  const auto above = view.superview();
  return !above || isShownInWindow(*above);
}

/// The rectangle of the view in the surface; nullopt for a view that is not shown.
std::optional<GtkAllocation> placeOf(const UIView& view, const Stage& stage) {
  const CGSize size = view.bounds().size;
  const CGPoint origin = stage.toWindow(view.convertPointToWindow(view.bounds().origin));
  const GtkAllocation place{static_cast<int>(std::lround(origin.x)), static_cast<int>(std::lround(origin.y)),
                            static_cast<int>(std::lround(size.width * stage.scale)),
                            static_cast<int>(std::lround(size.height * stage.scale))};
  if (place.width <= 0 || place.height <= 0 || !isShownInWindow(view)) return std::nullopt;
  return place;
}

}  // namespace

void NativeChildren::add(UIView& view, GtkWidget* widget, std::function<void(double scale)> zoom) {
  if (find(&view)) return;
  _children.push_back(std::unique_ptr<Child>(new Child{&view, widget, std::move(zoom), 0, {}}));
  gtk_widget_set_parent(widget, _surface);
  gtk_widget_queue_allocate(_surface);
}

void NativeChildren::remove(UIView& view) {
  if (Child* child = find(&view)) {
    gtk_widget_unparent(child->widget);
    std::erase_if(_children, [&](const auto& each) { return each->view == &view; });
  }
}

void NativeChildren::clear() {
  while (!_children.empty()) remove(*_children.back()->view);
}

NativeChildren::Child* NativeChildren::find(const UIView* view) {
  const auto found =
      std::find_if(_children.begin(), _children.end(), [&](const auto& each) { return each->view == view; });
  return found == _children.end() ? nullptr : found->get();
}

bool NativeChildren::has(const UIView* view) const {
  return std::any_of(_children.begin(), _children.end(), [&](const auto& each) { return each->view == view; });
}

GtkWidget* NativeChildren::widgetIn(const UIView& view) const {
  for (const auto& child : _children) {
    if (!isShownInWindow(*child->view)) continue;
    for (auto above = child->view->superview(); above; above = above->superview()) {
      if (above.get() == &view) return child->widget;
    }
  }
  return nullptr;
}

bool NativeChildren::areOutdated(const Stage& stage) const {
  return std::any_of(_children.begin(), _children.end(), [&](const auto& each) {
    if (each->scale != stage.scale) return true;
    const std::optional<GtkAllocation> place = placeOf(*each->view, stage);
    if (place.has_value() != each->place.has_value()) return true;
    return place && !gdk_rectangle_equal(&*place, &*each->place);
  });
}

void NativeChildren::allocate(const Stage& stage) {
  for (const auto& each : _children) {
    Child& child = *each;
    if (child.scale != stage.scale) child.zoom(stage.scale);
    child.scale = stage.scale;
    child.place = placeOf(*child.view, stage);
    gtk_widget_set_child_visible(child.widget, child.place.has_value());
    if (!child.place) continue;
    int minimum = 0, natural = 0;
    gtk_widget_measure(child.widget, GTK_ORIENTATION_HORIZONTAL, -1, &minimum, &natural, nullptr, nullptr);
    gtk_widget_size_allocate(child.widget, &*child.place, -1);
  }
}

void NativeChildren::snapshot(GtkSnapshot* snapshot, UIView& view, CGRect bounds, double opacity) {
  Child* child = find(&view);
  if (!child || !child->place || bounds.isEmpty()) return;
  const graphene_rect_t clip{{static_cast<float>(bounds.minX()), static_cast<float>(bounds.minY())},
                             {static_cast<float>(bounds.size.width), static_cast<float>(bounds.size.height)}};
  gtk_snapshot_push_clip(snapshot, &clip);
  if (opacity < 1) gtk_snapshot_push_opacity(snapshot, opacity);
  gtk_snapshot_save(snapshot);
  const graphene_point_t place{static_cast<float>(bounds.minX()), static_cast<float>(bounds.minY())};
  gtk_snapshot_translate(snapshot, &place);
  // The widget's lengths are in window points.
  const auto scale = static_cast<float>(1 / child->scale);
  gtk_snapshot_scale(snapshot, scale, scale);
  // GTK adds the allocation's origin when it paints the widget.
  const graphene_point_t offset{static_cast<float>(-child->place->x), static_cast<float>(-child->place->y)};
  gtk_snapshot_translate(snapshot, &offset);
  gtk_widget_snapshot_child(_surface, child->widget, snapshot);
  gtk_snapshot_restore(snapshot);
  if (opacity < 1) gtk_snapshot_pop(snapshot);
  gtk_snapshot_pop(snapshot);
}

}  // namespace oq::gtk
