// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UIKit/Controllers/UIAlertController.h"
#include "UIKit/Views/UIButton.h"

namespace oq {

/// A button in the style of alerts: destructive ones are red, cancelling ones bold.
std::shared_ptr<UIButton> makeAlertButton(const std::optional<std::string>& title, UIAlertActionStyle style,
                                          std::function<void()> action);

/// A white card with title, message and buttons. It stays in the centre of its superview, a page of the given width.
/// Two buttons are side by side, any other number one below the other. Main thread only.
std::shared_ptr<UIView> makeAlertCard(const std::string& title, const std::string& message,
                                      const std::vector<std::shared_ptr<UIButton>>& buttons, double pageWidth);

}  // namespace oq
