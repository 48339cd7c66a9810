// SPDX-License-Identifier: Apache-2.0
#include "NativeChildren.h"

#include <algorithm>

#include "UIKit/Views/UIView.h"

namespace oq::gtk {

namespace {

GtkAllocation allocationFor(const CGRect& frame) {
  const auto whole = [](double length) { return static_cast<int>(length); };
  return {whole(frame.minX()), whole(frame.minY()), whole(frame.size.width), whole(frame.size.height)};
}

std::optional<CGRect> frameOf(const UIView& view, const Stage& stage) {
  const auto place = nativePlaceOf(view, stage);
  return place ? std::optional(place->frame) : std::nullopt;
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

NativeChildren::Child* NativeChildren::find(const UIView* view) const {
  const auto found =
      std::find_if(_children.begin(), _children.end(), [&](const auto& each) { return each->view == view; });
  return found == _children.end() ? nullptr : found->get();
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
    return each->scale != stage.scale || frameOf(*each->view, stage) != each->frame;
  });
}

void NativeChildren::allocate(const Stage& stage) {
  for (const auto& each : _children) {
    Child& child = *each;
    if (child.scale != stage.scale) child.zoom(stage.scale);
    child.scale = stage.scale;
    child.frame = frameOf(*child.view, stage);
    gtk_widget_set_child_visible(child.widget, child.frame.has_value());
    if (!child.frame) continue;
    const GtkAllocation place = allocationFor(*child.frame);
    int minimum = 0, natural = 0;
    gtk_widget_measure(child.widget, GTK_ORIENTATION_HORIZONTAL, -1, &minimum, &natural, nullptr, nullptr);
    gtk_widget_size_allocate(child.widget, &place, -1);
  }
}

void NativeChildren::snapshot(GtkSnapshot* snapshot, UIView& view, CGRect bounds, double opacity) {
  Child* child = find(&view);
  if (!child || !child->frame || bounds.isEmpty()) return;
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
  const graphene_point_t offset{static_cast<float>(-child->frame->minX()), static_cast<float>(-child->frame->minY())};
  gtk_snapshot_translate(snapshot, &offset);
  gtk_widget_snapshot_child(_surface, child->widget, snapshot);
  gtk_snapshot_restore(snapshot);
  if (opacity < 1) gtk_snapshot_pop(snapshot);
  gtk_snapshot_pop(snapshot);
}

}  // namespace oq::gtk
