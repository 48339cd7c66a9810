// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Windows/UIScreen.h"

#include <mutex>

namespace oq {

namespace {
struct Screen {
  std::mutex mutex;
  CGRect bounds;
  double scale = 1;
};
// Never destroyed: threads may read it while the process exits.
Screen& screen() {
  static auto& shared = *new Screen;
  return shared;
}
}  // namespace

UIScreen& UIScreen::mainScreen() {
  static UIScreen shared;
  return shared;
}

CGRect UIScreen::bounds() const {
  std::lock_guard lock(screen().mutex);
  return screen().bounds;
}

double UIScreen::scale() const {
  std::lock_guard lock(screen().mutex);
  return screen().scale;
}

void UIScreen::setBounds(CGRect bounds) {
  std::lock_guard lock(screen().mutex);
  screen().bounds = bounds;
}

void UIScreen::setScale(double scale) {
  std::lock_guard lock(screen().mutex);
  screen().scale = scale;
}

}  // namespace oq
