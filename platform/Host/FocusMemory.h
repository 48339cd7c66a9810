// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

namespace oq {

class UIView;

/// A host's reference to one of its widgets. Only the host knows its contents. It should not keep the widget alive.
using HostFocus = std::shared_ptr<void>;

/// Remembers the keyboard focus from before each dialog, so that it can be restored. Main thread only.
class FocusMemory {
 public:
  /// A view of the library or a widget of the host; both are empty if nothing had the focus. The view is held weakly.
  struct Place {
    std::weak_ptr<UIView> view;
    HostFocus host;
  };

  /// The front-most dialog is now `dialog` (nullptr for none), and the focus is at `now`. If the change closed dialogs
  /// and opened none, returns the place to focus.
  std::optional<Place> dialogChanged(const std::shared_ptr<UIView>& dialog, const Place& now);
  /// The host has chosen this focus while dialogs were shown; it is restored when they are closed.
  void setHostFocus(HostFocus focus);

 private:
  struct Entry {
    std::weak_ptr<UIView> dialog;
    Place before;
  };
  std::vector<Entry> _entries;  ///< the front-most dialog is last
};

}  // namespace oq
