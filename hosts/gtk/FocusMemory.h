// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <optional>
#include <vector>

namespace oq {
class UIView;
}

namespace oq::gtk {

/// Remembers the keyboard focus from before each dialog, so that it can be restored. Main thread only.
class FocusMemory {
 public:
  /// A view of the library or a widget; both are empty if nothing had the focus. Held weakly.
  struct Place {
    std::weak_ptr<UIView> view;
    std::shared_ptr<GWeakRef> widget;
  };
  static Place at(const std::shared_ptr<UIView>& view, GtkWidget* widget);
  /// The widget of a place, if it still exists.
  static GtkWidget* widgetAt(const Place& place);

  /// The front-most dialog is now `dialog` (nullptr for none), and the focus is at `now`. If the change closed dialogs
  /// and opened none, returns the place to focus.
  std::optional<Place> dialogChanged(const std::shared_ptr<UIView>& dialog, const Place& now);
  /// The host has chosen this focus while dialogs were shown; it is restored when they are closed.
  void setHostFocus(GtkWidget* widget);

 private:
  struct Entry {
    std::weak_ptr<UIView> dialog;
    Place before;
  };
  std::vector<Entry> _entries;  ///< the front-most dialog is last
};

}  // namespace oq::gtk
