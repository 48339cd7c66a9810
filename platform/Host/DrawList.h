// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "CoreGraphics/Color.h"
#include "CoreGraphics/Geometry.h"
#include "UIKit/Painting/Painter.h"

namespace oq {

/// The steps that paint one frame, as values. Comparing two lists shows which area of the frame has changed, so that
/// nothing else needs painting. Not included are the contents that the host shows in its own widgets, such as web
/// pages.
class DrawList : public Painter {
 public:
  /// `scale` is the number of pixels per unit of the painter.
  explicit DrawList(double scale) : _scale(scale) {}

  /// Whether the frame is completely transparent.
  bool isEmpty() const;
  /// The area, in pixels and not rounded, outside of which both lists paint the same. Empty if the lists are equal.
  CGRect differenceTo(const DrawList& other) const;

  void pushTranslation(double x, double y) override;
  void pushClip(CGRect rect, double cornerRadius) override;
  void pushOpacity(double opacity) override;
  void pop() override;
  void fill(CGRect rect, double cornerRadius, UIColor color) override;
  void content(LayerContent& content, CGRect destination, double opacity) override;
  void shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) override;
  void contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset, double radius) override;

 private:
  enum class Kind { Fill, Content, ShapeShadow, ContentShadow, GroupBegin, GroupEnd, ClipBegin, ClipEnd };
  /// Everything that determines the pixels of a step. Rectangles are in the painter's units, from the frame's corner.
  struct Step {
    Kind kind = Kind::Fill;
    CGRect rect = {}, clip = {};
    double cornerRadius = 0;
    UIColor color = UIColor::clearColor();
    double opacity = 1;
    std::uint64_t content = 0;
    CGSize offset = {};
    double radius = 0;
    bool operator==(const Step&) const = default;
  };
  struct Scope {
    CGPoint origin;
    CGRect clip;
    std::size_t begin = 0;  ///< the step that began a group or a clip with round corners
    Kind end = Kind::Fill;  ///< the kind of the step that ends the group or clip; Fill for other scopes
  };

  void add(Step step, double margin = 0);
  CGRect placed(CGRect rect) const;
  CGRect inPixels(CGRect rect, double margin) const;

  const double _scale;
  std::vector<Step> _steps;
  std::vector<CGRect> _bounds;  ///< for each step, the pixels that it can change
  std::vector<Scope> _scopes{{{}, {{-1e6, -1e6}, {2e6, 2e6}}}};
};

}  // namespace oq
