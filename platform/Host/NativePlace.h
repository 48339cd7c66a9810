// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "CoreGraphics/Geometry.h"
#include "Host/Stage.h"
#include "oqsdk/Export.h"

namespace oq {

class UIView;

/// The position of a host's widget that shows the content of a view, such as a web page. In points of the host's
/// window.
struct NativePlace {
  CGRect frame;  ///< whole points: the final position, also while the view is animated
  /// The part of the frame that the stage and the superviews do not cut off. For a host that cannot paint the widget
  /// among the views, which would clip it.
  CGRect clip;
  double zoom = 1;  ///< points of the window per point of the page
  bool operator==(const NativePlace&) const = default;
};

/// The position of the widget for this view; nullopt if the view is not shown.
OQSDK_EXPORT std::optional<NativePlace> nativePlaceOf(const UIView& view, const Stage& stage);
/// Whether the view and all its superviews are visible.
OQSDK_EXPORT bool isShownInWindow(const UIView& view);

}  // namespace oq
