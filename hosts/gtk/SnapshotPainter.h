// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtk/gtk.h>

#include <vector>

#include "UIKit/Painting/Painter.h"

namespace oq::gtk {

class NativeChildren;

/// Paints into a GtkSnapshot, in points. A content is recorded once as a render node, and the node is used in every
/// frame that shows it, so that GTK can cache its rendering. Straight edges, and contents that are not scaled, are
/// aligned to whole pixels. Lives for one snapshot.
class SnapshotPainter : public Painter {
 public:
  /// `snapshot` is borrowed; `scale` is the number of pixels per point; `visible` is the visible part of the snapshot.
  SnapshotPainter(GtkSnapshot* snapshot, double scale, CGRect visible)
      : _snapshot(snapshot), _scale(scale), _visible(visible) {}

  void pushTranslation(double x, double y) override;
  void pushClip(CGRect rect, double cornerRadius) override;
  void pushOpacity(double opacity) override;
  void pop() override;
  void fill(CGRect rect, double cornerRadius, UIColor color) override;
  void content(LayerContent& content, CGRect destination, double opacity) override;
  void shapeShadow(CGRect rect, double cornerRadius, UIColor color, CGSize offset, double radius) override;
  void contentShadow(LayerContent& content, CGRect destination, UIColor color, CGSize offset, double radius) override;
  void nativeView(UIView& view, CGRect bounds, double opacity) override;
  /// The widgets to paint at their views' positions; borrowed.
  void setNativeChildren(NativeChildren* children) { _nativeChildren = children; }

 private:
  struct Push {
    bool isTranslation;
    CGPoint origin;  ///< before the push
    CGRect visible;
  };
  void push(bool isTranslation) { _pushes.push_back({isTranslation, _origin, _visible}); }
  double snapped(double value, double origin) const;
  CGRect snapped(CGRect rect) const;
  /// The visible part of the snapshot, in the current coordinates.
  CGRect visible() const;
  void appendContent(LayerContent& content, CGRect destination);
  void appendPart(LayerContent& content, CGPoint origin);

  GtkSnapshot* _snapshot;
  NativeChildren* _nativeChildren = nullptr;
  double _scale;
  CGPoint _origin;  ///< of the current coordinates, in the snapshot
  CGRect _visible;  ///< in the snapshot's coordinates
  std::vector<Push> _pushes;
};

}  // namespace oq::gtk
