#pragma once

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"
#include "oqsdk/Export.h"

namespace oq {

class LayerContent;
class UIView;
class UIWindow;

/// What a tree of views is painted with. Every push is ended by one pop.
class Painter {
 public:
  virtual ~Painter() = default;

  virtual void pushTranslation(double x, double y) = 0;
  virtual void pushClip(CGRect rect, double cornerRadius) = 0;
  /// What follows is blended as a group.
  virtual void pushOpacity(double opacity) = 0;
  virtual void pop() = 0;

  virtual void fill(CGRect rect, double cornerRadius, UIColor colour) = 0;
  /// The content, scaled to the destination.
  virtual void content(LayerContent& content, CGRect destination, double opacity) = 0;
  /// The shadow of a filled shape; the colour's alpha already holds the shadow's opacity.
  virtual void shapeShadow(CGRect rect, double cornerRadius, UIColor colour, CGSize offset, double radius) = 0;
  /// The shadow of a content's own outline.
  virtual void contentShadow(LayerContent& content, CGRect destination, UIColor colour, CGSize offset,
                             double radius) = 0;
  /// Every view in sight is offered here, at its place in the order, with its bounds and the opacity to
  /// apply: a painter whose host shows some views itself (a web page) puts its own there.
  virtual void nativeView(UIView&, CGRect, double) {}
};

/// Paints the window's tree as it looks at `now`: shadow, background, content, subviews by z position and
/// then order, clipped to the rounded bounds; a group is used only when something translucent has more than
/// one thing to blend.
OQSDK_EXPORT void paintWindow(UIWindow& window, Painter& painter, double now);
/// The colour with which views that fill the surroundings of the stage cover them at `now`; clear when none
/// does.
OQSDK_EXPORT UIColor surroundingsColor(UIWindow& window, double now);

}  // namespace oq
