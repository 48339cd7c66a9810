// SPDX-License-Identifier: Apache-2.0
#include "Host/DrawList.h"

#include <algorithm>
#include <cmath>

#include "UIKit/Painting/LayerContent.h"
#include "UIKit/Painting/ShadowMask.h"

namespace oq {

namespace {

/// Pixels by which the painter may move an edge: it aligns to whole pixels, and blends the edges of scaled contents.
constexpr double kEdge = 1;

/// The factor by which a content is scaled up when it is painted at this size.
double growthOf(const LayerContent& content, CGSize painted) {
  const CGSize size = content.size();
  return std::max(painted.width / size.width, painted.height / size.height);
}
/// Pixels by which a content reaches beyond its rectangle, before it is scaled: the painter rounds the content's size
/// up to whole pixels, and blends the content's edge over half a pixel.
constexpr double kContentEdge = 1.5;

CGRect joined(const CGRect& a, const CGRect& b) {
  if (a.isEmpty()) return b;
  if (b.isEmpty()) return a;
  const double x = std::min(a.minX(), b.minX()), y = std::min(a.minY(), b.minY());
  return {{x, y}, {std::max(a.maxX(), b.maxX()) - x, std::max(a.maxY(), b.maxY()) - y}};
}

}  // namespace

bool DrawList::isEmpty() const {
  return std::all_of(_bounds.begin(), _bounds.end(), [](const CGRect& bounds) { return bounds.isEmpty(); });
}

CGRect DrawList::differenceTo(const DrawList& other) const {
  const std::size_t count = _steps.size(), others = other._steps.size(), both = std::min(count, others);
  std::size_t begin = 0, end = 0;  // equal steps at the beginning and at the end
  while (begin < both && _steps[begin] == other._steps[begin]) ++begin;
  while (end < both - begin && _steps[count - 1 - end] == other._steps[others - 1 - end]) ++end;
  const auto isUnchanged = [&](std::size_t step) { return count == others && _steps[step] == other._steps[step]; };
  CGRect area;
  for (std::size_t step = begin; step < count - end; ++step) {
    if (!isUnchanged(step)) area = joined(area, _bounds[step]);
  }
  for (std::size_t step = begin; step < others - end; ++step) {
    if (!isUnchanged(step)) area = joined(area, other._bounds[step]);
  }
  return area;
}

CGRect DrawList::placed(CGRect rect) const {
  const CGPoint& origin = _scopes.back().origin;
  return {{rect.origin.x + origin.x, rect.origin.y + origin.y}, rect.size};
}

CGRect DrawList::inPixels(CGRect rect, double margin) const {
  if (rect.isEmpty()) return {};
  return {{rect.origin.x * _scale - margin, rect.origin.y * _scale - margin},
          {rect.size.width * _scale + 2 * margin, rect.size.height * _scale + 2 * margin}};
}

/// `margin`: pixels by which the step paints beyond its rectangle.
void DrawList::add(Step step, double margin) {
  step.clip = _scopes.back().clip;
  _bounds.push_back(inPixels(step.rect, margin + kEdge).intersection(inPixels(step.clip, kEdge)));
  _steps.push_back(step);
}

void DrawList::pushTranslation(double x, double y) {
  Scope scope = _scopes.back();
  _scopes.push_back({{scope.origin.x + x, scope.origin.y + y}, scope.clip});
}

void DrawList::pushClip(CGRect rect, double cornerRadius) {
  const CGRect place = placed(rect);
  Scope scope{_scopes.back().origin, place.intersection(_scopes.back().clip)};
  if (cornerRadius > 0) {
    scope.begin = _steps.size();
    scope.end = Kind::ClipEnd;
    add({.kind = Kind::ClipBegin, .rect = place, .cornerRadius = cornerRadius});
  }
  _scopes.push_back(scope);
}

void DrawList::pushOpacity(double opacity) {
  _scopes.push_back({_scopes.back().origin, _scopes.back().clip, _steps.size(), Kind::GroupEnd});
  add({.kind = Kind::GroupBegin, .opacity = opacity});
}

/// A change of a group, or of the round corners of a clip, affects everything in it.
void DrawList::pop() {
  const Scope scope = _scopes.back();
  _scopes.pop_back();
  if (scope.end == Kind::Fill) return;
  CGRect area;
  for (std::size_t step = scope.begin + 1; step < _bounds.size(); ++step) area = joined(area, _bounds[step]);
  add({.kind = scope.end});
  _bounds.back() = area;
  _bounds[scope.begin] = area;
}

void DrawList::fill(CGRect rect, double cornerRadius, UIColor color) {
  if (rect.isEmpty() || color.alpha <= 0) return;
  add({.rect = placed(rect), .cornerRadius = cornerRadius, .color = color});
}

void DrawList::content(LayerContent& content, CGRect destination, double opacity) {
  if (destination.isEmpty() || CGRect{{}, content.size()}.isEmpty()) return;
  const double edge = destination.size == content.size() ? 0 : growthOf(content, destination.size) * kContentEdge;
  add({.kind = Kind::Content, .rect = placed(destination), .opacity = opacity, .content = content.identity()}, edge);
}

void DrawList::shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) {
  const double reach = std::max(std::abs(offset.width), std::abs(offset.height)) * _scale;
  add({.kind = Kind::ShapeShadow,
       .rect = placed(rect),
       .cornerRadius = cornerRadius,
       .color = color,
       .offset = offset,
       .radius = radius},
      reach + ShadowMask::marginFor(radius, _scale));
}

void DrawList::contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset, double radius) {
  if (destination.isEmpty() || CGRect{{}, content.size()}.isEmpty()) return;
  const double reach = std::max(std::abs(offset.width), std::abs(offset.height)) * _scale;
  // The shadow is scaled together with the content.
  const double growth = std::max(1.0, growthOf(content, destination.size));
  add({.kind = Kind::ContentShadow,
       .rect = placed(destination),
       .color = color,
       .content = content.identity(),
       .offset = offset,
       .radius = radius},
      reach + (ShadowMask::marginFor(radius, _scale) + kContentEdge) * growth);
}

}  // namespace oq
