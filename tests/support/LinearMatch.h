#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "Model/OQWindowData.h"

namespace oq::test {

/// The rule of matching as it reads, over every window: what any index must come to. Returns the position of
/// the window that is chosen, or that of the end.
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
