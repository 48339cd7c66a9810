#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UIKit/Controllers/UIAlertController.h"
#include "UIKit/Views/UIButton.h"

namespace oq {

/// A button as alerts have them: red when it destroys, bold when it cancels.
std::shared_ptr<UIButton> makeAlertButton(const std::optional<std::string>& title, UIAlertActionStyle style,
                                          std::function<void()> action);

/// A white card in the middle of the view that it is added to, for a page of that width: title, message, and
/// the buttons below one another, two side by side. Main thread only.
std::shared_ptr<UIView> makeAlertCard(const std::string& title, const std::string& message,
                                      const std::vector<std::shared_ptr<UIButton>>& buttons, double pageWidth);

}  // namespace oq
