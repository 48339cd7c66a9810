#pragma once

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

/// The stage that messages are laid out on. The host sets its size. The main thread writes, any thread reads a size
/// that was valid.
class OQSDK_EXPORT UIScreen {
 public:
  static UIScreen& mainScreen();
  /// Points; the origin is (0, 0). Empty before a host is installed.
  CGRect bounds() const;
  /// Pixels per point that pictures are prepared for.
  double scale() const;
  void setBounds(CGRect bounds);
  void setScale(double scale);
};

}  // namespace oq
