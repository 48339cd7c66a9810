// SPDX-License-Identifier: Apache-2.0
#include "Host/FocusMemory.h"

#include <algorithm>
#include <utility>

#include "UIKit/Views/UIView.h"

namespace oq {

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

void FocusMemory::setHostFocus(HostFocus focus) {
  if (!_entries.empty()) _entries.front().before = {{}, std::move(focus)};
}

}  // namespace oq
