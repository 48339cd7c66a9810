// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "UIKit/Views/UIView.h"

namespace oq {

/// The page of a dialog. It dims everything behind it, including the area around the stage, and takes all touches
/// there. It also confines assistive technology and the keyboard to the dialog. As large as the main screen. Main
/// thread only.
class DialogPage : public UIView {
 public:
  /// `escape` handles the Escape key and returns whether it did anything.
  DialogPage(std::string name, std::function<bool()> escape);
  bool accessibilityPerformEscape() override { return _escape(); }

 private:
  const std::function<bool()> _escape;
};

}  // namespace oq
