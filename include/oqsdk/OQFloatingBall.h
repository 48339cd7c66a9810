// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>

#include "oqsdk/Export.h"

namespace oq {

/// The round tool button that floats above a host's screens while it is being developed: it is dragged by a
/// finger, rests at an edge, and fans out three buttons on a tap ("起别名", "切环境", "发日志"). What these
/// do is the host's to say:
///
///     oq::OQFloatingBall::show();
///     oq::OQFloatingBall::setFloatingBtnClickedCallback([](std::int64_t index) { ... });
///
/// There is one ball in a process. Any thread may call; off the main thread a call takes effect soon after,
/// in order.
class OQSDK_EXPORT OQFloatingBall {
 public:
  using Callback = std::function<void(std::int64_t index)>;  ///< Gets 0, 1 or 2.

  /// Shows the ball above everything in the key window, resting at the nearer side.
  static void show();
  /// Where the ball rests after a drag: 0 at the nearer side, 1 on the left, 2 on the right, any other where
  /// it was dropped. The mode of the very first call stays for good.
  static void showWithMode(std::int64_t mode);
  /// Takes the ball off the screen and keeps it.
  static void hide();
  /// What a tap on one of the three buttons reports, once they fold back: 0, 1 or 2, from the top. Lost when
  /// the ball was never shown before. Called on the main thread.
  static void setFloatingBtnClickedCallback(Callback callback);
};

}  // namespace oq
