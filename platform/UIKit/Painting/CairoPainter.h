#pragma once

#include <vector>

#include "UIKit/Painting/Painter.h"
#include "oqsdk/Export.h"

typedef struct _cairo cairo_t;

namespace oq {

/// Paints into any Cairo context whose user space is in points (its owner has scaled it); `scale` is the
/// number of pixels a point, in which contents are cached as surfaces. Rectangles and contents are put on
/// whole pixels, so that edges and text stay crisp wherever the layout places them. Main thread only.
class OQSDK_EXPORT CairoPainter : public Painter {
 public:
  CairoPainter(cairo_t* cr, double scale);
  ~CairoPainter() override;

  void pushTranslation(double x, double y) override;
  void pushClip(CGRect rect, double cornerRadius) override;
  void pushOpacity(double opacity) override;
  void pop() override;
  void fill(CGRect rect, double cornerRadius, UIColor colour) override;
  void content(LayerContent& content, CGRect destination, double opacity) override;
  void shapeShadow(CGRect rect, double cornerRadius, UIColor colour, CGSize offset, double radius) override;
  void contentShadow(LayerContent& content, CGRect destination, UIColor colour, CGSize offset, double radius) override;

 private:
  CGPoint snapped(CGPoint point) const;
  CGRect snapped(CGRect rect) const;
  /// What lies in the corners of a rounded clip, to be put back when the clip ends: clipping by a path would
  /// cost a mask for everything that is painted inside.
  struct Corners;
  Corners saveCorners(CGRect rect, double radius) const;
  void putBack(const Corners& corners) const;
  void drawUncached(const LayerContent& content, CGRect destination, double opacity);

  cairo_t* _cr;
  double _scale;
  std::vector<double> _groups;  ///< one entry per push: the opacity of a group, or below 0 for none
  std::vector<Corners> _corners;
  bool _groupIsEmpty = false;  ///< nothing was painted into the innermost group yet
};

/// A path of the rectangle with rounded corners, for whoever draws.
void addRoundedRect(cairo_t* cr, CGRect rect, double cornerRadius);

}  // namespace oq
