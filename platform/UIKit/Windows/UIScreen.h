// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

/// The stage on which messages are laid out. The host sets its size on the main thread; any thread may read it.
class OQSDK_EXPORT UIScreen {
 public:
  static UIScreen& mainScreen();
  /// In points, with origin (0, 0). Empty before a host is installed.
  CGRect bounds() const;
  /// The pixels per point that pictures are prepared for.
  double scale() const;
  void setBounds(CGRect bounds);
  void setScale(double scale);
};

}  // namespace oq
