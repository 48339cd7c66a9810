// SPDX-License-Identifier: Apache-2.0
#include "Host/AccessibleTree.h"

#include <algorithm>

#include "Foundation/Values/Text.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

namespace {

constexpr std::size_t kLongestDescription = 2000;  // bytes

AccessibleRole roleOf(const UIView& view) {
  const UIAccessibilityTraits traits = view.accessibilityTraits();
  if (traits & UIAccessibilityTraitButton) return AccessibleRole::Button;
  if (traits & UIAccessibilityTraitLink) return AccessibleRole::Link;
  if (traits & UIAccessibilityTraitHeader) return AccessibleRole::Heading;
  return traits & UIAccessibilityTraitImage ? AccessibleRole::Image : AccessibleRole::Text;
}

/// A disabled button takes input as well. A view that ignores input does not, because it must not get the focus.
bool takesInput(const UIView& view, AccessibleRole role) {
  return (role == AccessibleRole::Button || role == AccessibleRole::Link) && view.isUserInteractionEnabled();
}

CGRect frameInHost(const UIView& view, const Stage& stage) {
  const CGRect bounds = view.bounds();
  // On a very small screen, layout can give a view a negative size.
  return {stage.toWindow(view.convertPointToWindow(bounds.origin)),
          {std::max(0.0, bounds.size.width) * stage.scale, std::max(0.0, bounds.size.height) * stage.scale}};
}

std::string textOf(const AccessibleTree& tree) {
  std::string text;
  for (const AccessibleElement& element : tree.elements) {
    if (element.role != AccessibleRole::Text || element.name == tree.dialog->name) continue;
    if (!text.empty()) text += '\n';
    text += element.name;
  }
  return std::string(beginningOf(text, kLongestDescription));
}

std::vector<const AccessibleElement*> allOf(const AccessibleTree& tree) {
  std::vector<const AccessibleElement*> all;
  if (tree.dialog) all.push_back(&*tree.dialog);
  for (const AccessibleElement& element : tree.elements) all.push_back(&element);
  return all;
}

}  // namespace

const AccessibleElement* AccessibleTree::find(std::uint64_t id) const {
  if (dialog && dialog->id == id) return &*dialog;
  const auto found = std::find_if(elements.begin(), elements.end(), [id](const auto& each) { return each.id == id; });
  return found == elements.end() ? nullptr : &*found;
}

std::uint64_t AccessibleElements::idOf(const std::shared_ptr<UIView>& view, AccessibleRole role, bool takesInput) {
  Known& known = _known[view.get()];
  // A destroyed view may have had the same address.
  const bool isSame = known.view.lock() == view && known.role == role && known.takesInput == takesInput;
  if (!isSame) known = {view, ++_lastId, role, takesInput};
  return known.id;
}

AccessibleElement AccessibleElements::describe(const std::shared_ptr<UIView>& view, const Stage& stage,
                                               AccessibleRole role) {
  AccessibleElement element;
  element.role = role;
  element.takesInput = takesInput(*view, role);
  element.id = idOf(view, role, element.takesInput);
  element.name = view->accessibilityLabel();
  element.frame = frameInHost(*view, stage);
  element.isEnabled = !(view->accessibilityTraits() & UIAccessibilityTraitNotEnabled);
  return element;
}

AccessibleTree AccessibleElements::treeOf(const std::shared_ptr<UIWindow>& window, const Stage& stage) {
  std::erase_if(_known, [](const auto& entry) { return entry.second.view.expired(); });
  AccessibleTree tree;
  const auto dialog = frontmostDialog(*window);
  if (dialog) tree.dialog = describe(dialog, stage, AccessibleRole::Dialog);
  const auto focused = window->focusedView();
  for (const auto& view : accessibilityElements(dialog ? dialog : std::static_pointer_cast<UIView>(window))) {
    tree.elements.push_back(describe(view, stage, roleOf(*view)));
    tree.elements.back().isFocused = view == focused;
  }
  if (dialog) tree.dialog->description = textOf(tree);
  return tree;
}

bool AccessibleElements::update(const std::shared_ptr<UIWindow>& window, const Stage& stage) {
  AccessibleTree next = treeOf(window, stage);
  if (next.dialog == _tree.dialog && next.elements == _tree.elements) return false;
  for (const AccessibleElement* element : allOf(next)) {
    const AccessibleElement* before = _tree.find(element->id);
    if (!before) {
      next.added.push_back(element->id);
    } else if (*before != *element) {
      next.changed.push_back(element->id);
    }
  }
  for (const AccessibleElement* element : allOf(_tree)) {
    if (!next.find(element->id)) next.removed.push_back(element->id);
  }
  _tree = std::move(next);
  std::erase_if(_known, [&](const auto& entry) { return !_tree.find(entry.second.id); });
  return true;
}

std::shared_ptr<UIView> AccessibleElements::viewOf(std::uint64_t id) const {
  const auto found =
      std::find_if(_known.begin(), _known.end(), [id](const auto& each) { return each.second.id == id; });
  return found == _known.end() ? nullptr : found->second.view.lock();
}

}  // namespace oq
