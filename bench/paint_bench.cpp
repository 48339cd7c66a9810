// SPDX-License-Identifier: Apache-2.0

// Full repaints of 1080 x 1920 pixels with a message of picture, text and button on screen: steady frames, and frames
// of the opening animation. Compared with a plain fill of the same memory, and with a painter without caches: it draws
// the text again and scales the picture for every frame (only the line breaks are kept).
#include <cairo.h>

#include <cstdint>
#include <cstring>

#include "Foundation/Files/FileManager.h"
#include "Measure.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kWidth = 1080, kHeight = 1920;
constexpr double kFrame = 1.0 / 60;

/// A surface of the screen's size, painted as the headless host paints.
class Screen {
 public:
  explicit Screen(double scale) : _scale(scale) {}
  ~Screen() { cairo_surface_destroy(_surface); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  void paint(double now) {
    cairo_t* cr = cairo_create(_surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    cairo_scale(cr, _scale, _scale);
    {
      CairoPainter painter(cr, _scale);
      paintWindow(*UIApplication::sharedApplication().keyWindow(), painter, now);
    }
    cairo_destroy(cr);
    cairo_surface_flush(_surface);
  }
  /// Scales the picture to `place` and draws it.
  void scale(const UIImage& picture, CGRect place) {
    cairo_t* cr = cairo_create(_surface);
    cairo_scale(cr, _scale, _scale);
    drawImage(cr, picture, place);
    cairo_destroy(cr);
  }
  void fill() {
    auto* pixels = reinterpret_cast<std::uint32_t*>(cairo_image_surface_get_data(_surface));
    static std::uint32_t color = 0;
    std::fill_n(pixels, static_cast<std::size_t>(kWidth) * kHeight, ++color);
    keep(*pixels);
  }
  int colorsIn(int x, int y, int side) const {
    auto* bytes = cairo_image_surface_get_data(_surface);
    std::vector<std::uint32_t> found;
    for (int row = y; row < y + side; ++row) {
      for (int column = x; column < x + side; ++column) {
        std::uint32_t pixel;
        std::memcpy(&pixel, bytes + row * cairo_image_surface_get_stride(_surface) + 4 * column, 4);
        found.push_back(pixel);
      }
    }
    std::sort(found.begin(), found.end());
    return static_cast<int>(std::unique(found.begin(), found.end()) - found.begin());
  }

 private:
  cairo_surface_t* _surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kWidth, kHeight);
  const double _scale;
};

/// A PNG file like a photograph: adjacent pixels always differ.
Data pictureFile(const std::filesystem::path& file) {
  constexpr int width = 1200, height = 800;
  cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  auto* bytes = cairo_image_surface_get_data(surface);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const auto pixel = static_cast<std::uint32_t>((x * 255 / width) << 16 | (y * 255 / height) << 8 | (x * y) % 251);
      std::memcpy(bytes + y * cairo_image_surface_get_stride(surface) + 4 * x, &pixel, 4);
    }
  }
  cairo_surface_mark_dirty(surface);
  cairo_surface_write_to_png(surface, file.c_str());
  cairo_surface_destroy(surface);
  return *contentsOfFile(file);
}

std::shared_ptr<OQWindowData> message() {
  std::string text;
  for (int i = 0; i < 12; ++i) text += "本季跑鞋已经到店，会员免运费。This season's running shoes are here. ";
  auto data = std::make_shared<OQWindowData>();
  data->setModelWithDic(
      {{"style", 2},
       {"title", {{"text", "新品上架 · New arrivals"}, {"color", "#1F2937"}, {"size", "34pd"}}},
       {"content", {{"text", text}, {"color", "#4B5563"}, {"size", "28pd"}}},
       {"buttonMiddle",
        {{"text", "立即选购 Shop now"}, {"color", "#FFFFFF"}, {"background", "#059669"}, {"size", "30pd"}}}});
  return data;
}

/// Clears everything that was cached for earlier frames.
void forgetContents(UIView& view) {
  view.setNeedsDisplay();
  for (const auto& child : view.subviews()) forgetContents(*child);
}

class Bench {
 public:
  Bench(int scale, const std::filesystem::path& folder) : _scale(scale), _host(options(scale, folder)), _screen(scale) {
    _picture = UIImage::imageWithData(pictureFile(folder / "picture.png"));
    require(_picture != nullptr, "no picture");
  }

  void run() {
    open(nullptr);
    checkScreen();
    auto [steady, fill, uncached] = inTurns(
        151, [&] { return 1e3 * secondsOf([&] { _screen.paint(_host.now()); }); },
        [&] { return 1e3 * secondsOf([&] { _screen.fill(); }); },
        [&] {
          return 1e3 * secondsOf([&] {
                   forgetContents(*_window);
                   _screen.paint(_host.now());
                   UIImageView& view = *_window->imgView();
                   _screen.scale(*_picture, {view.convertPointToWindow({0, 0}), view.bounds().size});
                 });
        });
    close();

    std::vector<double> opening, first;
    for (int round = 0; round < 25; ++round) {
      std::vector<double> frames;
      open(&frames);
      // The first frame fills the caches and is reported separately.
      first.push_back(frames.front());
      opening.insert(opening.end(), frames.begin() + 1, frames.end());
      close();
    }
    std::vector<double> all(opening);
    all.insert(all.end(), steady.begin(), steady.end());

    atMost(name("steady_ms"), median(steady), 2);
    atMost(name("opening_ms"), median(opening), 3.5);
    atMost(name("p99_ms"), percentile(all, 0.99), 8.3);
    note(name("opening_first_frame"), median(first), "ms");
    note(name("memory_fill"), median(fill), "ms");
    note(name("steady_vs_memory_fill"), medianRatio(steady, fill), "times");
    note(name("painter_that_keeps_nothing"), median(uncached), "ms");
    note(name("painter_that_keeps_nothing_vs_steady"), medianRatio(uncached, steady), "times");
  }

 private:
  static HeadlessHost::Options options(int scale, const std::filesystem::path& folder) {
    HeadlessHost::Options options;
    options.width = static_cast<double>(kWidth) / scale;
    options.height = static_cast<double>(kHeight) / scale;
    options.scale = scale;
    options.dataDirectory = folder;
    return options;
  }
  std::string name(const std::string& figure) const { return "paint_scale" + std::to_string(_scale) + "_" + figure; }

  /// Opens the message and paints frames until it is open. Adds each frame's duration in milliseconds to `frames`, if
  /// that is not nullptr.
  void open(std::vector<double>* frames) {
    _window = makeMainObject<OQPopWindow>();
    _window->popWithData(message(), nullptr);
    _window->imgView()->setImage(_picture);
    require(_host.runUntil([&] { return _window->imgView()->isImageReady(); }, 60), "the picture is not ready");
    while (!_window->isShowing()) {
      _host.advance(kFrame);
      const double seconds = secondsOf([&] { _screen.paint(_host.now()); });
      if (frames) frames->push_back(1e3 * seconds);
    }
  }
  void close() {
    _window->closeWithCompletion(nullptr);
    _host.advance(0.2);
    require(_window->superview() == nullptr, "the message does not close");
  }
  /// Checks that the measured parts are really on the screen.
  void checkScreen() {
    _screen.paint(_host.now());
    for (UIView* part : {static_cast<UIView*>(_window->imgView().get()), static_cast<UIView*>(_window->textLbl().get()),
                         static_cast<UIView*>(_window->middleBtn().get())}) {
      CGPoint at = part->convertPointToWindow({0, 0});
      at.x += part->bounds().size.width / 2;
      at.y += 10;
      require(_screen.colorsIn(static_cast<int>(at.x * _scale) - 40, static_cast<int>(at.y * _scale), 80) > 3,
              "a part of the message is not visible");
    }
  }

  const int _scale;
  HeadlessHost _host;
  Screen _screen;
  std::shared_ptr<const UIImage> _picture;
  std::shared_ptr<OQPopWindow> _window;
};

}  // namespace

int main() {
  const ScratchFolder folder;
  for (int scale : {1, 3}) Bench(scale, folder.path()).run();
}
