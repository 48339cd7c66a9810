#pragma once

#include "oqsdk/Export.h"

namespace oq {

class UIWindow;

/// What a host gives to the view layer. All calls come on the main thread.
class UIHost {
 public:
  virtual ~UIHost() = default;
  /// Seconds on the animation clock; it never goes back.
  virtual double now() const = 0;
  /// Something of the window's tree has changed, or is in motion: paint it at the next frame.
  virtual void setNeedsFrame(UIWindow& window) = 0;
  /// UIApplication::step() is to be called at this time at the latest, even where no frame comes (a hidden window has
  /// none). Replaces an earlier deadline; infinity means none.
  virtual void setDeadline(double deadline) = 0;
  /// Scenes came, went, or have another order or state: the main screen may be another one now.
  virtual void scenesChanged() {}
};

}  // namespace oq
