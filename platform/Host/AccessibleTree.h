// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/Stage.h"
#include "oqsdk/Export.h"

namespace oq {

class UIView;
class UIWindow;

enum class AccessibleRole { Dialog, Button, Link, Heading, Image, Text };

/// One part of a window as assistive technology presents it.
struct AccessibleElement {
  /// Stays the same while the element exists, and is never used again. Not 0. A view whose role changes, or that begins
  /// or ceases to take input, becomes another element.
  std::uint64_t id = 0;
  AccessibleRole role = AccessibleRole::Text;
  std::string name;         ///< what is spoken: UTF-8, but a server's text may contain invalid bytes
  std::string description;  ///< of a dialog: its texts, spoken when it opens
  CGRect frame;             ///< in points of the host's window; may lie outside it
  bool takesInput = false;  ///< a button or link that HostSurface::activate() presses
  bool isEnabled = true;    ///< only enabled elements that take input can have the focus
  bool isFocused = false;
  bool operator==(const AccessibleElement&) const = default;
};

/// The elements of a window in reading order, and what has changed since the tree before. While a dialog is shown, the
/// tree contains only the dialog and the elements in it.
struct OQSDK_EXPORT AccessibleTree {
  std::optional<AccessibleElement> dialog;  ///< the parent of all elements
  std::vector<AccessibleElement> elements;
  // The ids of elements, also of the dialog. An element that only moved within the reading order is not listed.
  std::vector<std::uint64_t> added, removed, changed;

  /// nullptr if there is no such element. The dialog is an element, too.
  const AccessibleElement* find(std::uint64_t id) const;
};

/// Makes the trees of one window. Main thread only.
class OQSDK_EXPORT AccessibleElements {
 public:
  /// The tree as it is now, with empty lists of changes. Frames are in points of the host's window that contains
  /// `stage`.
  AccessibleTree treeOf(const std::shared_ptr<UIWindow>& window, const Stage& stage);
  /// Makes the tree as it is now. If it differs from tree(), it replaces tree() and lists the changes. Returns whether
  /// they differed.
  bool update(const std::shared_ptr<UIWindow>& window, const Stage& stage);
  const AccessibleTree& tree() const { return _tree; }
  /// nullptr if there is no such element any more.
  std::shared_ptr<UIView> viewOf(std::uint64_t id) const;

 private:
  struct Known {
    std::weak_ptr<UIView> view;
    std::uint64_t id = 0;
    AccessibleRole role = AccessibleRole::Text;
    bool takesInput = false;
  };
  AccessibleElement describe(const std::shared_ptr<UIView>& view, const Stage& stage, AccessibleRole role);
  std::uint64_t idOf(const std::shared_ptr<UIView>& view, AccessibleRole role, bool takesInput);

  AccessibleTree _tree;
  std::map<const UIView*, Known> _known;
  std::uint64_t _lastId = 0;
};

}  // namespace oq
