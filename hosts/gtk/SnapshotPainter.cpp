// SPDX-License-Identifier: Apache-2.0
#include "SnapshotPainter.h"

#include <cmath>

#include "NativeChildren.h"
#include "UIKit/Painting/LayerContent.h"

namespace oq::gtk {

namespace {

/// In pixels. A content whose width or height is larger is not recorded as a whole: it would not fit into a texture,
/// and processing it takes longer than drawing only its visible part.
constexpr double kLongest = 8192;

struct NodeCache : LayerContent::Cache {
  explicit NodeCache(GskRenderNode* recorded) : node(recorded) {}
  ~NodeCache() override { gsk_render_node_unref(node); }
  NodeCache(const NodeCache&) = delete;
  NodeCache& operator=(const NodeCache&) = delete;

  GskRenderNode* node;
};

float toFloat(double value) {
  return static_cast<float>(value);
}

graphene_rect_t toRect(CGRect rect) {
  return {{toFloat(rect.minX()), toFloat(rect.minY())}, {toFloat(rect.size.width), toFloat(rect.size.height)}};
}

GskRoundedRect toRoundedRect(CGRect rect, double cornerRadius) {
  graphene_rect_t bounds = toRect(rect);
  double radius = std::min({cornerRadius, rect.size.width / 2, rect.size.height / 2});
  GskRoundedRect rounded;
  gsk_rounded_rect_init_from_rect(&rounded, &bounds, toFloat(std::max(0.0, radius)));
  return rounded;
}

GdkRGBA toRgba(UIColor color) {
  return {toFloat(color.red), toFloat(color.green), toFloat(color.blue), toFloat(color.alpha)};
}

GskRenderNode* nodeOf(LayerContent& content) {
  if (auto* kept = dynamic_cast<NodeCache*>(content.cache.get())) return kept->node;
  graphene_rect_t bounds = toRect({{}, content.size()});
  GskRenderNode* node = gsk_cairo_node_new(&bounds);
  cairo_t* cr = gsk_cairo_node_get_draw_context(node);
  content.draw(cr);
  cairo_destroy(cr);
  content.cache = std::make_unique<NodeCache>(node);
  return node;
}

}  // namespace

double SnapshotPainter::snapped(double value, double origin) const {
  return std::round((origin + value) * _scale) / _scale - origin;
}

/// Moves all edges to the nearest pixel boundary, so that adjacent rectangles still touch. A rectangle that would
/// become empty, such as a thin line, is returned unchanged.
CGRect SnapshotPainter::snapped(CGRect rect) const {
  double left = snapped(rect.minX(), _origin.x), top = snapped(rect.minY(), _origin.y);
  double right = snapped(rect.maxX(), _origin.x), bottom = snapped(rect.maxY(), _origin.y);
  CGRect whole = CGRectMake(left, top, right - left, bottom - top);
  return whole.isEmpty() ? rect : whole;
}

CGRect SnapshotPainter::visible() const {
  return {{_visible.minX() - _origin.x, _visible.minY() - _origin.y}, _visible.size};
}

void SnapshotPainter::pushTranslation(double x, double y) {
  push(true);
  _origin = {_origin.x + x, _origin.y + y};
  gtk_snapshot_save(_snapshot);
  graphene_point_t offset{toFloat(x), toFloat(y)};
  gtk_snapshot_translate(_snapshot, &offset);
}

void SnapshotPainter::pushClip(CGRect rect, double cornerRadius) {
  push(false);
  _visible = _visible.intersection({{_origin.x + rect.minX(), _origin.y + rect.minY()}, rect.size});
  if (cornerRadius > 0) {
    GskRoundedRect rounded = toRoundedRect(snapped(rect), cornerRadius);
    gtk_snapshot_push_rounded_clip(_snapshot, &rounded);
    return;
  }
  graphene_rect_t bounds = toRect(snapped(rect));
  gtk_snapshot_push_clip(_snapshot, &bounds);
}

void SnapshotPainter::pushOpacity(double opacity) {
  push(false);
  gtk_snapshot_push_opacity(_snapshot, opacity);
}

void SnapshotPainter::pop() {
  if (_pushes.empty()) return;
  Push last = _pushes.back();
  _pushes.pop_back();
  _origin = last.origin;
  _visible = last.visible;
  if (last.isTranslation) {
    gtk_snapshot_restore(_snapshot);
  } else {
    gtk_snapshot_pop(_snapshot);
  }
}

void SnapshotPainter::fill(CGRect rect, double cornerRadius, UIColor color) {
  if (rect.isEmpty() || color.alpha <= 0) return;
  GdkRGBA rgba = toRgba(color);
  graphene_rect_t bounds = toRect(snapped(rect));
  if (cornerRadius <= 0) return gtk_snapshot_append_color(_snapshot, &rgba, &bounds);
  GskRoundedRect rounded = toRoundedRect(snapped(rect), cornerRadius);
  gtk_snapshot_push_rounded_clip(_snapshot, &rounded);
  gtk_snapshot_append_color(_snapshot, &rgba, &bounds);
  gtk_snapshot_pop(_snapshot);
}

void SnapshotPainter::content(LayerContent& content, CGRect destination, double opacity) {
  if (opacity <= 0) return;
  if (opacity < 1) gtk_snapshot_push_opacity(_snapshot, opacity);
  appendContent(content, destination);
  if (opacity < 1) gtk_snapshot_pop(_snapshot);
}

void SnapshotPainter::appendContent(LayerContent& content, CGRect destination) {
  CGSize size = content.size();
  if (destination.isEmpty() || size.width <= 0 || size.height <= 0) return;
  bool scaled = destination.size != size;
  if (!scaled && std::max(size.width, size.height) * _scale > kLongest) return appendPart(content, destination.origin);
  GskRenderNode* node = nodeOf(content);
  // A content that is not scaled starts on a whole pixel; otherwise its text would be blurred.
  double x = destination.minX(), y = destination.minY();
  if (!scaled) {
    x = snapped(x, _origin.x);
    y = snapped(y, _origin.y);
  }
  gtk_snapshot_save(_snapshot);
  graphene_point_t offset{toFloat(x), toFloat(y)};
  gtk_snapshot_translate(_snapshot, &offset);
  if (scaled) {
    gtk_snapshot_scale(_snapshot, toFloat(destination.size.width / size.width),
                       toFloat(destination.size.height / size.height));
  }
  gtk_snapshot_append_node(_snapshot, node);
  gtk_snapshot_restore(_snapshot);
}

/// Draws only the visible part of a content that is too large to be recorded. This happens again in every frame.
void SnapshotPainter::appendPart(LayerContent& content, CGPoint origin) {
  CGRect part = CGRect{origin, content.size()}.intersection(visible());
  if (part.isEmpty()) return;
  graphene_rect_t bounds = toRect(snapped(part));
  cairo_t* cr = gtk_snapshot_append_cairo(_snapshot, &bounds);
  cairo_translate(cr, snapped(origin.x, _origin.x), snapped(origin.y, _origin.y));
  content.draw(cr);
  cairo_destroy(cr);
}

void SnapshotPainter::nativeView(UIView& view, CGRect bounds, double opacity) {
  // Aligned to whole pixels, like the widget's layout; otherwise its text would be blurred.
  if (_nativeChildren) _nativeChildren->snapshot(_snapshot, view, snapped(bounds), opacity);
}

void SnapshotPainter::shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) {
  if (rect.isEmpty() || color.alpha <= 0) return;
  GskRoundedRect outline = toRoundedRect(rect, cornerRadius);
  GdkRGBA rgba = toRgba(color);
  // A layer's shadow radius is the standard deviation of the blur. GTK's blur radius is twice that value.
  gtk_snapshot_append_outset_shadow(_snapshot, &outline, &rgba, toFloat(offset.width), toFloat(offset.height), 0,
                                    toFloat(2 * radius));
}

void SnapshotPainter::contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset,
                                    double radius) {
  if (color.alpha <= 0) return;
  // Gives every pixel the shadow's colour, and multiplies the pixel's own alpha by the shadow's.
  const float alphaOnly[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, toFloat(color.alpha)};
  graphene_matrix_t matrix;
  graphene_matrix_init_from_float(&matrix, alphaOnly);
  graphene_vec4_t tint;
  graphene_vec4_init(&tint, toFloat(color.red), toFloat(color.green), toFloat(color.blue), 0);

  gtk_snapshot_push_blur(_snapshot, 2 * radius);
  gtk_snapshot_push_color_matrix(_snapshot, &matrix, &tint);
  destination.origin.x += offset.width;
  destination.origin.y += offset.height;
  appendContent(content, destination);
  gtk_snapshot_pop(_snapshot);
  gtk_snapshot_pop(_snapshot);
}

}  // namespace oq::gtk
