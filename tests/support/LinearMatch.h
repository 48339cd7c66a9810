// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Model/OQWindowData.h"

namespace oq::test {

/// The matching rule, applied to every window in order. An index must give the same result. Removes the pre-conditions
/// that the event meets. Returns the position of the first matching window, or windows.size().
inline std::size_t linearMatch(const std::vector<std::shared_ptr<OQWindowData>>& windows, const OQWindowEvent& event) {
  for (std::size_t position = 0; position < windows.size(); ++position) {
    OQWindowData& window = *windows[position];
    if (const auto preEvent = window.preEvent()) {
      if (!event.matches(*preEvent)) continue;
      window.setPreEvent(nullptr);
    }
    if (event.matches(window.event().get())) return position;
  }
  return windows.size();
}

}  // namespace oq::test
