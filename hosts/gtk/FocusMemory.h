#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <optional>
#include <vector>

namespace oq {
class UIView;
}

namespace oq::gtk {

/// Where the keyboard's focus was when each dialog on screen came up, so that it returns there. Main thread only.
class FocusMemory {
 public:
  /// A view of ours or a widget; neither where nothing had the focus. Known weakly.
  struct Place {
    std::weak_ptr<UIView> view;
    std::shared_ptr<GWeakRef> widget;
  };
  static Place at(const std::shared_ptr<UIView>& view, GtkWidget* widget);
  /// The widget of a place, if that still exists.
  static GtkWidget* widgetAt(const Place& place);

  /// The front-most dialog is now this one, nullptr for none, and the focus is at `now`. Where the change closed
  /// dialogs and opened none, returns where the focus goes.
  std::optional<Place> dialogChanged(const std::shared_ptr<UIView>& dialog, const Place& now);
  /// The focus that the host has chosen while dialogs were on screen, for when they are gone.
  void setHostFocus(GtkWidget* widget);

 private:
  struct Entry {
    std::weak_ptr<UIView> dialog;
    Place before;
  };
  std::vector<Entry> _entries;  ///< the front-most dialog last
};

}  // namespace oq::gtk
