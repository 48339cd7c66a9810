// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "UIKit/Painting/Painter.h"
#include "oqsdk/Export.h"

typedef struct _cairo cairo_t;

namespace oq {

/// Paints into a Cairo context whose user space is in points (the owner has scaled it). `scale` is the number of pixels
/// per point; contents are cached as surfaces of that density. Rectangles and contents are aligned to whole pixels, so
/// that edges and text are sharp at every position. Main thread only.
class OQSDK_EXPORT CairoPainter : public Painter {
 public:
  CairoPainter(cairo_t* cr, double scale);
  ~CairoPainter() override;

  void pushTranslation(double x, double y) override;
  void pushClip(CGRect rect, double cornerRadius) override;
  void pushOpacity(double opacity) override;
  void pop() override;
  void fill(CGRect rect, double cornerRadius, UIColor color) override;
  void content(LayerContent& content, CGRect destination, double opacity) override;
  void shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) override;
  void contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset, double radius) override;

 private:
  CGPoint snapped(CGPoint point) const;
  CGRect snapped(CGRect rect) const;
  /// The pixels in the corners of a rounded clip. They are saved when the clip begins and restored when it ends.
  /// Clipping by a path instead would need a mask for everything that is painted inside.
  struct Corners;
  Corners saveCorners(CGRect rect, double radius) const;
  void putBack(const Corners& corners) const;
  void drawUncached(const LayerContent& content, CGRect destination, double opacity);

  cairo_t* _cr;
  double _scale;
  std::vector<double> _groups;  ///< one entry per push: the opacity of a group, or a negative constant for other pushes
  std::vector<Corners> _corners;
  bool _groupIsEmpty = false;  ///< nothing has been painted into the innermost group yet
};

/// The nearest pixel boundary. Half a pixel is rounded up, also if rounding errors have made it a bit smaller, so that
/// all computations of an edge agree.
OQSDK_EXPORT double nearestPixel(double pixels);
/// Adds a rectangle with rounded corners to the current path.
void addRoundedRect(cairo_t* cr, CGRect rect, double cornerRadius);

}  // namespace oq
