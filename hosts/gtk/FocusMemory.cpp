// SPDX-License-Identifier: Apache-2.0
#include "FocusMemory.h"

#include <algorithm>

#include "UIKit/Views/UIView.h"

namespace oq::gtk {

FocusMemory::Place FocusMemory::at(const std::shared_ptr<UIView>& view, GtkWidget* widget) {
  const std::shared_ptr<GWeakRef> reference(new GWeakRef, [](GWeakRef* former) {
    g_weak_ref_clear(former);
    delete former;
  });
  g_weak_ref_init(reference.get(), widget);
  return {view, reference};
}

GtkWidget* FocusMemory::widgetAt(const Place& place) {
  gpointer widget = place.widget ? g_weak_ref_get(place.widget.get()) : nullptr;
  // The reference can be released here, because the parent keeps the widget alive. A widget without a parent cannot
  // have the focus, so it is not returned.
  if (widget) g_object_unref(widget);
  return widget && gtk_widget_get_root(GTK_WIDGET(widget)) ? GTK_WIDGET(widget) : nullptr;
}

std::optional<FocusMemory::Place> FocusMemory::dialogChanged(const std::shared_ptr<UIView>& dialog, const Place& now) {
  const bool isBack = dialog && std::any_of(_entries.begin(), _entries.end(),
                                            [&](const Entry& entry) { return entry.dialog.lock() == dialog; });
  const auto stays = [&](const Entry& entry) {
    const auto other = entry.dialog.lock();
    if (!other || !dialog || isBack) return other && other == dialog;
    return other->window() == dialog->window() && other->accessibilityViewIsModal();
  };
  std::optional<Place> left;
  while (!_entries.empty() && !stays(_entries.back())) {
    left = _entries.back().before;
    _entries.pop_back();
  }
  if (!dialog || isBack) return left;
  _entries.push_back({dialog, left.value_or(now)});
  return std::nullopt;
}

void FocusMemory::setHostFocus(GtkWidget* widget) {
  if (!_entries.empty()) _entries.front().before = at(nullptr, widget);
}

}  // namespace oq::gtk
