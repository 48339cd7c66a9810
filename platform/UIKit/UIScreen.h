#pragma once

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

/// The stage that windows fill. Its size is the host's to say. Main thread writes, any thread reads a size that was
/// valid.
class OQSDK_EXPORT UIScreen {
 public:
  static UIScreen& mainScreen();
  /// Points; the origin is (0, 0). Empty before a host is installed.
  CGRect bounds() const;
  /// Pixels a point.
  double scale() const;
  void setBounds(CGRect bounds);
  void setScale(double scale);
};

}  // namespace oq
