// SPDX-License-Identifier: Apache-2.0
#include "Host/PixelFrames.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {
namespace {

constexpr double kScale = 1.3;  // pixels per point
constexpr int kPadding = 3;     // pixels between the rows
constexpr std::uint32_t kUntouched = 0x12345678;

/// Draws a circle in its colour, so that neither the figure nor its shadow is a rectangle. With `isPicture` it records
/// a small rectangle instead, which is scaled to the view as a picture is.
class Figure : public UIView {
 public:
  Figure(CGRect frame, bool isPicture) : UIView(frame), _isPicture(isPicture) {}
  UIColor color = UIColor::redColor();

 protected:
  std::shared_ptr<LayerContent> makeContent(CGSize size) override {
    if (_isPicture) {
      return std::make_shared<LayerContent>(CGSizeMake(9.3, 7.1), [color = color](cairo_t* cr) {
        cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
        cairo_paint(cr);
      });
    }
    return std::make_shared<LayerContent>(size, [color = color, size](cairo_t* cr) {
      cairo_set_source_rgba(cr, color.red, color.green, color.blue, color.alpha);
      cairo_arc(cr, size.width / 2, size.height / 2, std::min(size.width, size.height) / 2, 0, 7);
      cairo_fill(cr);
    });
  }

 private:
  const bool _isPicture;
};

/// A tree of views that changes at random.
class RandomTree {
 public:
  RandomTree(unsigned seed, std::shared_ptr<UIWindow> window) : _random(seed), _views{std::move(window)} {
    for (int count = 0; count < 14; ++count) add();
  }
  /// Changes a random view in a random way. Returns the kind of change, for failure messages.
  std::string change() {
    UIView& view = *_views[1 + below(_views.size() - 1)];
    switch (below(17)) {
      case 0:
        return view.setFrame(rect()), "frame";
      case 1:
        return view.setBackgroundColor(color()), "color";
      case 2:
      case 12:
      case 13:
        return view.setAlpha(part()), "alpha";
      case 3:
      case 14:
      case 15:
        return view.layer().setCornerRadius(60 * part()), "corner";
      case 4:
        return view.setClipsToBounds(!view.clipsToBounds()), "clip";
      case 5:
        return view.setHidden(!view.isHidden()), "hidden";
      case 6:
        return view.setBounds({{20 * part(), 20 * part()}, view.bounds().size}), "scrolled";
      case 7:
        view.layer().setShadowColor(color());
        view.layer().setShadowRadius(8 * part());
        view.layer().setShadowOffset({20 * part() - 10, 20 * part() - 10});
        return view.layer().setShadowOpacity(part()), "shadow";
      case 8:
        return view.layer().setZPosition(part()), "z";
      case 9:
        return view.superview()->bringSubviewToFront(view.shared_from_this()), "front";
      case 10:
        view.setFillsSurroundings(!view.fillsSurroundings());
        return "surroundings";
      case 11:
        return add(), "added";
      default:
        if (auto* figure = dynamic_cast<Figure*>(&view)) figure->color = color();
        return view.setNeedsDisplay(), "redrawn";
    }
  }

 private:
  std::size_t below(std::size_t limit) { return _random() % limit; }
  double part() { return static_cast<double>(below(1001)) / 1000; }
  UIColor color() { return {part(), part(), part(), below(2) ? 1 : part()}; }
  CGRect rect() { return {{200 * part() - 50, 200 * part() - 50}, {200 * part(), 200 * part()}}; }
  void add() {
    const auto view = below(2) ? std::make_shared<UIView>(rect()) : std::make_shared<Figure>(rect(), below(2));
    view->setBackgroundColor(below(3) ? UIColor::clearColor() : color());
    if (below(2)) view->setAlpha(part());
    if (below(2)) view->layer().setCornerRadius(60 * part());
    view->setClipsToBounds(below(2));
    _views[below(_views.size())]->addSubview(view);
    _views.push_back(view);
  }

  std::mt19937 _random;
  std::vector<std::shared_ptr<UIView>> _views;
};

/// A window that is painted into a buffer.
struct Screen {
  Screen() {
    stage.setWindow(window);
    buffer.stride = (buffer.width + kPadding) * 4;
    pixels.assign(static_cast<std::size_t>(buffer.stride / 4) * buffer.height, kUntouched);
    buffer.pixels = pixels.data();
  }
  PaintedFrame paint() {
    const PaintedFrame frame = frames.paint(stage, buffer, kScale, 0);
    buffer.holdsLastFrame = true;
    return frame;
  }
  /// The number of bytes that differ from a complete painting by more than rounding, plus the padding pixels that were
  /// overwritten.
  int differences() const {
    std::vector<std::uint32_t> whole(pixels.size());
    cairo_surface_t* image =
        cairo_image_surface_create_for_data(static_cast<unsigned char*>(static_cast<void*>(whole.data())),
                                            CAIRO_FORMAT_ARGB32, buffer.width, buffer.height, buffer.stride);
    cairo_t* cr = cairo_create(image);
    const double scale = kScale * stage.stage().scale;
    cairo_scale(cr, scale, scale);
    {
      CairoPainter painter(cr, scale);
      stage.paint(painter, 0);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(image);
    int count = 0;
    for (std::size_t at = 0; at < pixels.size(); ++at) {
      if (pixels[at] == whole[at]) continue;
      const bool isPadding = at % (buffer.stride / 4) >= static_cast<std::size_t>(buffer.width);
      if (isPadding) count += pixels[at] != kUntouched;
      for (int shift = 0; shift < 32 && !isPadding; shift += 8) {
        const auto byte = [shift](std::uint32_t pixel) { return static_cast<int>(pixel >> shift & 0xff); };
        count += std::abs(byte(pixels[at]) - byte(whole[at])) > 2;
      }
    }
    return count;
  }

  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{});
  WindowStage stage{{300, 240}, 1.5};
  PixelBuffer buffer{nullptr, 390, 312};
  std::vector<std::uint32_t> pixels;
  PixelFrames frames;
};

TEST(PixelFramesTest, ReusedBufferShowsTheSameAsACompletePainting) {
  for (unsigned seed = 0; seed < 30; ++seed) {
    Screen screen;
    RandomTree tree(seed, screen.window);
    screen.paint();
    ASSERT_EQ(screen.differences(), 0);
    for (int step = 0; step < 40; ++step) {
      const std::string change = tree.change();
      const auto before = screen.pixels;
      const PaintedFrame frame = screen.paint();
      ASSERT_EQ(screen.differences(), 0) << "seed " << seed << ", step " << step << ", " << change;
      EXPECT_TRUE(frame.result != PaintedFrame::Result::Same || screen.pixels == before);
      ASSERT_TRUE(screen.paint().damage.isEmpty()) << "nothing has changed since";
    }
  }
}

TEST(PixelFramesTest, ResultReportsWhetherThereAreViewsAndWhetherPixelsChanged) {
  Screen screen;
  auto& [window, stage, buffer, pixels, frames] = screen;
  using Result = PaintedFrame::Result;
  buffer.background = 0xff102030;
  EXPECT_EQ(screen.paint().result, Result::Nothing);
  EXPECT_EQ(pixels[0], 0xff102030);
  EXPECT_EQ(pixels[static_cast<std::size_t>(buffer.width)], kUntouched);

  const auto view = std::make_shared<UIView>(CGRectMake(100, 100, 50, 50));
  view->setBackgroundColor({1, 1, 1, 0.5});
  window->addSubview(view);
  PaintedFrame frame = screen.paint();
  EXPECT_EQ(frame.result, Result::Changed);
  EXPECT_LE(frame.damage.width, 50 * kScale * stage.stage().scale + 4);
  EXPECT_EQ(screen.paint().result, Result::Same);
  buffer.background = 0;
  EXPECT_EQ(screen.paint().damage, (PixelRect{0, 0, buffer.width, buffer.height}));
  const CGPoint middle = stage.stage().toWindow({125, 125});
  EXPECT_EQ(pixels[static_cast<std::size_t>(middle.y * kScale) * buffer.stride / 4 +
                   static_cast<std::size_t>(middle.x * kScale)],
            0x80808080)
      << "premultiplied";

  // A new view that clips, but paints nothing, changes no pixel.
  const auto clip = std::make_shared<UIView>(CGRectMake(10, 10, 50, 50));
  clip->setClipsToBounds(true);
  clip->layer().setCornerRadius(5);
  window->addSubview(clip);
  EXPECT_EQ(screen.paint().result, Result::Same);

  // A removed view leaves nothing behind in the buffer.
  view->removeFromSuperview();
  frame = screen.paint();
  EXPECT_EQ(frame.result, Result::Nothing);
  EXPECT_FALSE(frame.damage.isEmpty());
  EXPECT_EQ(screen.differences(), 0);

  // Nothing is painted into invalid buffers.
  for (const PixelBuffer& bad : {PixelBuffer{}, PixelBuffer{pixels.data(), 10, 10, 42},
                                 PixelBuffer{pixels.data(), 9, 9, 32}, PixelBuffer{pixels.data(), 40000, 1, 160000}}) {
    EXPECT_TRUE(frames.paint(stage, bad, kScale, 0).damage.isEmpty());
  }
}

}  // namespace
}  // namespace oq
