// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Export.h"

namespace oq {

class UIWindow;

/// What the view layer needs from a host. All calls are made on the main thread.
class UIHost {
 public:
  virtual ~UIHost() = default;
  /// Seconds on the animation clock; it never goes back.
  virtual double now() const = 0;
  /// The window's tree has changed or is animated: paint it at the next frame.
  virtual void setNeedsFrame(UIWindow& window) = 0;
  /// UIApplication::step() must be called at this time at the latest, even if there is no frame (a hidden window has
  /// none). Replaces an earlier deadline; infinity means no deadline.
  virtual void setDeadline(double deadline) = 0;
  /// Scenes were added or removed, or their order or state changed: the main screen may be another one now.
  virtual void scenesChanged() {}
};

}  // namespace oq
