// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

class LayerContent;
class UIView;
class UIWindow;

/// The interface with which a tree of views is painted. Each call of a push function needs one call of pop().
class Painter {
 public:
  virtual ~Painter() = default;

  virtual void pushTranslation(double x, double y) = 0;
  virtual void pushClip(CGRect rect, double cornerRadius) = 0;
  /// Everything that is painted until the matching pop() is blended as one group, with this opacity.
  virtual void pushOpacity(double opacity) = 0;
  virtual void pop() = 0;

  virtual void fill(CGRect rect, double cornerRadius, UIColor color) = 0;
  /// Paints the content, scaled to the destination.
  virtual void content(LayerContent& content, CGRect destination, double opacity) = 0;
  /// Paints the shadow of a filled shape. The alpha of the colour already includes the shadow's opacity.
  virtual void shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) = 0;
  /// Paints a shadow with the shape of the content's own pixels.
  virtual void contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset,
                             double radius) = 0;
  /// Called for every visible view, in painting order, with its bounds and the opacity to apply. If the host renders
  /// some views itself, such as web pages, its painter inserts that rendering here.
  virtual void nativeView(UIView&, CGRect, double) {}
};

/// Paints the window's tree as it looks at `now`. For each view: shadow, background, content, then subviews by z
/// position and order. If the view masks to its bounds, its subviews are clipped to the rounded bounds.
/// Painter::pushOpacity() is used only for a translucent view with several parts, which must be blended as a group.
OQSDK_EXPORT void paintWindow(UIWindow& window, Painter& painter, double now);
/// The blended colour of all views that also fill the area around the stage, at `now`. Fully transparent if there are
/// none.
OQSDK_EXPORT UIColor surroundingsColor(UIWindow& window, double now);

}  // namespace oq
