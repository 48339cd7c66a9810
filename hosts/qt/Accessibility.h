// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGui/QAccessible>
#include <cstdint>
#include <map>

#include "Host/AccessibleTree.h"

namespace oq::qt {

class Surface;

/// Presents the elements of a surface to assistive technology. The elements are children of the layer's object, and
/// the elements of a dialog are children of the dialog. Main thread only.
class AccessibleElementObjects {
 public:
  explicit AccessibleElementObjects(Surface& surface);
  ~AccessibleElementObjects();

  /// Reports the changes that the tree lists.
  void update(const AccessibleTree& tree);
  /// A new object for the layer. Qt owns it.
  QAccessibleInterface* makeLayer(QObject& layer) const;
  /// The object of an element of the current tree; nullptr if there is no such element.
  QAccessibleInterface* objectFor(std::uint64_t element);

 private:
  void remove(std::uint64_t element);

  Surface& _surface;
  std::map<std::uint64_t, QAccessible::Id> _objects;  ///< those that were asked for
  std::uint64_t _focused = 0;                         ///< the element that was last reported as focused
};

}  // namespace oq::qt
