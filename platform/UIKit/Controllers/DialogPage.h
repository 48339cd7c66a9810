#pragma once

#include <functional>
#include <string>

#include "UIKit/Views/UIView.h"

namespace oq {

/// The page of a dialog: dims what lies behind it, beside an upright stage as well, takes its touches, and
/// keeps assistive technology and the keyboard to itself. As large as the main screen. Main thread only.
class DialogPage : public UIView {
 public:
  /// `escape` is what the key Escape does; it tells whether it did anything.
  DialogPage(std::string name, std::function<bool()> escape);
  bool accessibilityPerformEscape() override { return _escape(); }

 private:
  const std::function<bool()> _escape;
};

}  // namespace oq
