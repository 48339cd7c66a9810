// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/Painter.h"

#include <algorithm>
#include <vector>

#include "UIKit/Views/UIScrollView.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

/// Lower opacities are invisible with eight bits per colour.
constexpr double kInvisible = 0.001;

LayerState stateOf(const UIView& view, double now) {
  const CALayer& layer = view.layer();
  return layer.isAnimating() ? layer.presentation(now) : layer.model();
}

bool isShown(const LayerState& state) {
  return !state.hidden && state.opacity > kInvisible;
}

CGRect offsetBy(const CGRect& rect, double dx, double dy) {
  return {{rect.origin.x + dx, rect.origin.y + dy}, rect.size};
}

bool castsShadow(const LayerState& state) {
  // Clipping removes everything outside the bounds, and with it the whole shadow.
  return !state.masksToBounds && state.shadowOpacity > 0 && state.shadowColor.alpha > 0;
}

/// The subviews from back to front.
std::vector<UIView*> paintOrder(const UIView& view, double now) {
  std::vector<UIView*> order;
  order.reserve(view.subviews().size());
  bool flat = true;
  for (const auto& child : view.subviews()) {
    order.push_back(child.get());
    flat = flat && child->layer().model().zPosition == 0 && !child->layer().isAnimating();
  }
  if (!flat) {
    std::stable_sort(order.begin(), order.end(), [now](const UIView* a, const UIView* b) {
      return stateOf(*a, now).zPosition < stateOf(*b, now).zPosition;
    });
  }
  return order;
}

class TreePainter {
 public:
  TreePainter(UIWindow& window, Painter& painter, double now)
      : _window(window), _painter(painter), _now(now), _focused(window.focusedView()) {}

  /// `visible` is the visible part of the parent, in the parent's coordinates. `opacity` is the product of the
  /// ancestors' opacities that no enclosing group applies.
  void paint(UIView& view, CGRect visible, double opacity) {
    LayerState state = stateOf(view, _now);
    if (!isShown(state)) return;
    CGRect frame = state.frame();
    bool seen = !frame.intersection(visible).isEmpty();
    if (!seen && state.masksToBounds) return;

    double dx = frame.origin.x - state.bounds.origin.x, dy = frame.origin.y - state.bounds.origin.y;
    opacity *= state.opacity;
    bool group = opacity < 1 && thingsToBlend(view, state) > 1;
    _painter.pushTranslation(dx, dy);
    if (group) _painter.pushOpacity(opacity);
    paintInside(view, state, offsetBy(visible, -dx, -dy), seen, group ? 1 : opacity);
    if (group) _painter.pop();
    _painter.pop();
  }

 private:
  int thingsToBlend(UIView& view, const LayerState& state) {
    int things = (state.backgroundColor.alpha > 0) + (view.content() != nullptr) + castsShadow(state);
    for (const auto& child : view.subviews()) {
      if (things > 1) break;
      things += isShown(stateOf(*child, _now));
    }
    return things;
  }

  void paintInside(UIView& view, const LayerState& state, CGRect visible, bool seen, double opacity) {
    const CGRect& bounds = state.bounds;
    if (castsShadow(state)) paintShadow(view, state, opacity);
    if (seen) fillBackground(state, opacity);
    if (state.masksToBounds) _painter.pushClip(bounds, state.cornerRadius);
    if (seen) {
      paintContent(view, state, opacity);
      _painter.nativeView(view, bounds, opacity);
    }
    if (!view.subviews().empty()) {
      CGRect inside = state.masksToBounds ? visible.intersection(bounds) : visible;
      for (UIView* child : paintOrder(view, _now)) paint(*child, inside, opacity);
    }
    if (state.masksToBounds) _painter.pop();
    if (seen) paintScrollIndicators(view, bounds, opacity);
    if (seen && &view == _focused.get()) _painter.content(*_window.focusRing(bounds.size), bounds, opacity);
  }

  void paintShadow(UIView& view, const LayerState& state, double opacity) {
    UIColor color = state.shadowColor;
    color.alpha *= state.shadowOpacity * opacity;
    if (state.backgroundColor.alpha > 0) {
      color.alpha *= state.backgroundColor.alpha;
      _painter.shapeShadow(state.bounds, state.cornerRadius, color, state.shadowOffset, state.shadowRadius);
    } else if (const auto& content = view.content()) {
      _painter.contentShadow(*content, view.contentRect(state.bounds), color, state.shadowOffset, state.shadowRadius);
    } else {
      paintShadowsOfSubviews(view, state, color);
    }
  }

  /// A view without background and content casts a shadow for each of its subviews that has a background.
  void paintShadowsOfSubviews(UIView& view, const LayerState& state, const UIColor& color) {
    for (const auto& child : view.subviews()) {
      LayerState shape = stateOf(*child, _now);
      if (!isShown(shape) || shape.backgroundColor.alpha <= 0) continue;
      _painter.shapeShadow(shape.frame(), shape.cornerRadius,
                           color.withAlphaComponent(color.alpha * shape.backgroundColor.alpha * shape.opacity),
                           state.shadowOffset, state.shadowRadius);
    }
  }

  void fillBackground(const LayerState& state, double opacity) {
    UIColor color = state.backgroundColor;
    color.alpha *= opacity;
    if (color.alpha > 0) _painter.fill(state.bounds, state.cornerRadius, color);
  }

  void paintContent(UIView& view, const LayerState& state, double opacity) {
    const auto& content = view.content();
    if (!content) return;
    CGRect destination = view.contentRect(state.bounds);
    if (destination.isEmpty()) return;
    bool rounded = state.cornerRadius > 0 && !state.masksToBounds;
    if (rounded) _painter.pushClip(state.bounds, state.cornerRadius);
    _painter.content(*content, destination, opacity);
    if (rounded) _painter.pop();
  }

  /// Paints slim bars that show which part of the content is visible, if the content does not fit. A bar is painted
  /// next to the view if the superview has space there, so that it does not cover the content. Otherwise it is painted
  /// inside the edge of the view.
  void paintScrollIndicators(UIView& view, const CGRect& bounds, double opacity) {
    auto* scroll = dynamic_cast<UIScrollView*>(&view);
    if (!scroll) return;
    CGSize content = scroll->contentSize();
    CGSize space = spaceNextTo(view);
    if (scroll->showsVerticalScrollIndicator() && content.height > bounds.size.height + 0.5) {
      Bar bar = barFor(bounds.size.height, content.height, bounds.origin.y);
      double x = bounds.maxX() + distance(space.width);
      fillBar(CGRectMake(x, bounds.minY() + bar.start, kThickness, bar.length), opacity);
    }
    if (scroll->showsHorizontalScrollIndicator() && content.width > bounds.size.width + 0.5) {
      Bar bar = barFor(bounds.size.width, content.width, bounds.origin.x);
      double y = bounds.maxY() + distance(space.height);
      fillBar(CGRectMake(bounds.minX() + bar.start, y, bar.length, kThickness), opacity);
    }
  }

  static CGSize spaceNextTo(const UIView& view) {
    auto parent = view.superview();
    if (!parent) return {};
    CGRect bounds = parent->bounds(), frame = view.frame();
    return {bounds.maxX() - frame.maxX(), bounds.maxY() - frame.maxY()};
  }
  /// The distance of a bar from the view's edge: positive, in the middle of the space next to the view, if that is wide
  /// enough. Otherwise negative, inside the view.
  static double distance(double space) {
    return space >= kThickness + 2 * kGap ? std::min((space - kThickness) / 2, kFarthest) : -kThickness - kGap;
  }

  struct Bar {
    double start, length;
  };
  static Bar barFor(double shown, double whole, double offset) {
    double space = std::max(0.0, shown - 2 * kGap);
    double length = std::min(space, std::max(kShortestBar, space * shown / whole));
    double part = std::clamp(offset / (whole - shown), 0.0, 1.0);
    return {kGap + (space - length) * part, length};
  }
  void fillBar(const CGRect& rect, double opacity) {
    if (!rect.isEmpty()) _painter.fill(rect, kThickness / 2, {0, 0, 0, 0.35 * opacity});
  }

  static constexpr double kThickness = 3, kGap = 2, kFarthest = 6, kShortestBar = 24;
  UIWindow& _window;
  Painter& _painter;
  double _now;
  std::shared_ptr<UIView> _focused;
};

/// The colour of `over` painted on top of `under`.
UIColor blend(const UIColor& under, const UIColor& over) {
  double alpha = over.alpha + under.alpha * (1 - over.alpha);
  if (alpha <= 0) return UIColor::clearColor();
  auto mix = [&](double below, double above) {
    return (above * over.alpha + below * under.alpha * (1 - over.alpha)) / alpha;
  };
  return {mix(under.red, over.red), mix(under.green, over.green), mix(under.blue, over.blue), alpha};
}

void addSurroundings(UIView& view, double now, double opacity, UIColor& color) {
  LayerState state = stateOf(view, now);
  if (!isShown(state)) return;
  opacity *= state.opacity;
  if (view.fillsSurroundings()) {
    UIColor own = state.backgroundColor;
    own.alpha *= opacity;
    color = blend(color, own);
  }
  for (UIView* child : paintOrder(view, now)) addSurroundings(*child, now, opacity, color);
}

}  // namespace

void paintWindow(UIWindow& window, Painter& painter, double now) {
  TreePainter(window, painter, now).paint(window, stateOf(window, now).frame(), 1);
}

UIColor surroundingsColor(UIWindow& window, double now) {
  UIColor color = UIColor::clearColor();
  addSurroundings(window, now, 1, color);
  return color;
}

}  // namespace oq
