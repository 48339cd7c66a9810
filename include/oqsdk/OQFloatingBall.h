// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>

#include "oqsdk/Export.h"

namespace oq {

/// The round tool button that floats above a host's screens during development. The user can drag it; it rests at an
/// edge; a tap opens three buttons ("起别名", "切环境", "发日志"). The host decides what these do:
///
///     oq::OQFloatingBall::show();
///     oq::OQFloatingBall::setFloatingBtnClickedCallback([](std::int64_t index) { ... });
///
/// A process has one ball. Threads: any. Calls from another thread than the main thread return at once and take effect
/// soon after, in order.
class OQSDK_EXPORT OQFloatingBall {
 public:
  using Callback = std::function<void(std::int64_t index)>;  ///< `index` is 0, 1 or 2, from the top.

  /// Shows the ball above everything in the key window; it rests at the nearer side. Has no effect without a window.
  static void show();
  /// Like show(). `mode` determines where the ball rests after a drag: 0 at the nearer side, 1 on the left, 2 on the
  /// right. With any other number it stays where it was dropped. Only the first call in a process sets the mode.
  static void showWithMode(std::int64_t mode);
  /// Takes the ball off the screen; show() brings the same ball back.
  static void hide();
  /// Sets the function that a tap on one of the three buttons calls, on the main thread, once the buttons are folded
  /// back. With an empty function, a tap on a button calls nothing. Has no effect before the ball was shown for the
  /// first time.
  static void setFloatingBtnClickedCallback(Callback callback);
};

}  // namespace oq
