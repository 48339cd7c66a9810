// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/headless/HeadlessHost.h"

#include <cairo.h>
#include <glib.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "Host/HostInstallation.h"
#include "Host/HostSurface.h"
#include "Host/SurfaceHost.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "headless/PageEngine.h"

namespace oq {

namespace {

constexpr double kFrame = 1.0 / 60;
/// The condition of runUntil() may depend on other threads, so it is checked at least once in this many milliseconds.
constexpr guint kPoll = 5;
constexpr int kFinger = 0;

double realTime() {
  return static_cast<double>(g_get_monotonic_time()) / 1e6;
}

bool isLength(double points) {
  return std::isfinite(points) && points > 0;
}

const char* nameOf(AccessibleRole role) {
  static constexpr const char* names[] = {"dialog", "button", "link", "heading", "image", "text"};
  return names[static_cast<int>(role)];
}

/// While an object of this class exists, the main loop wakes up at the given interval.
class Ticker {
 public:
  explicit Ticker(guint milliseconds) : _id(g_timeout_add(milliseconds, &Ticker::tick, nullptr)) {}
  ~Ticker() { g_source_remove(_id); }
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

 private:
  static gboolean tick(gpointer) { return G_SOURCE_CONTINUE; }
  guint _id;
};

}  // namespace

// The enclosing class is exported; without this attribute the nested class would be, too.
class __attribute__((visibility("hidden"))) HeadlessHost::Impl : public SurfaceHost, public HostSurface::Client {
 public:
  explicit Impl(const Options& options);
  ~Impl() override;

  // The caller moves the clock, so a deadline needs no timer. The screen is painted only when the caller reads it.
  double now() const override { return _now; }
  void setDeadline(double) override {}
  void frameWanted() override { _isOutdated = true; }

  void closeWindow() { _surface.reset(); }
  void setSize(CGSize size);
  void setScale(double scale);
  void setVisible(bool isVisible) {
    if (_surface) _surface->setVisible(isVisible, false);
  }
  void moveClock(double now);
  PageEngine& engine() { return _engine; }
  UIWindow& window() { return *_surface->window(); }
  HostSurface& surface() { return *_surface; }
  double scale() const { return _scale; }
  /// The screen as it is now. A white background takes the place of a host's widgets.
  const PixelBuffer& screen();

 private:
  double _now = 0;
  CGSize _size;
  double _scale;
  std::unique_ptr<std::uint32_t[]> _pixels;
  PixelBuffer _screen;      ///< without pixels if there is not enough memory
  bool _isOutdated = true;  ///< something has changed or moved since the screen was painted
  PageEngine _engine;
  const HostInstallation _installation{*this, &_engine};
  std::optional<HostSurface> _surface;  ///< empty after closeWindow()
};

HeadlessHost::Impl::Impl(const Options& options)
    : SurfaceHost({options.applicationIdentifier, options.applicationVersion, options.dataDirectory}, MainLoop::GLib),
      _size{isLength(options.width) ? options.width : Options{}.width,
            isLength(options.height) ? options.height : Options{}.height},
      _scale(isLength(options.scale) ? options.scale : 1) {
  AnimationEngine::shared().setEnabled(options.animations);
  _surface.emplace(*this, *this, _size, _scale, options.stage);
  _surface->connect();
  _surface->setVisible(true, false);
}

HeadlessHost::Impl::~Impl() {
  UIApplication::sharedApplication().setStatusBarFrame({});
  UIScreen::mainScreen().setBounds({});
  UIScreen::mainScreen().setScale(1);
  setMainBundle("", "");
  setApplicationDataDirectory({});
}

void HeadlessHost::Impl::setSize(CGSize size) {
  _size = size;
  _isOutdated = true;
  if (!_surface) return;
  _surface->setSize(size, _scale);
  // This size is final, so the stage need not wait for a pause in resizing.
  _surface->endResizing();
}

void HeadlessHost::Impl::setScale(double scale) {
  _scale = scale;
  if (_surface) _surface->setSize(_size, scale);
}

const PixelBuffer& HeadlessHost::Impl::screen() {
  if (!std::exchange(_isOutdated, false)) return _screen;
  const PixelRect size = _surface->pixelSize();
  const bool isKept = size.width == _screen.width && size.height == _screen.height;
  if (!isKept) {
    _screen = {};
    _pixels.reset(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(size.width) * size.height]);
    if (!_pixels) return _screen;
  }
  _screen = {_pixels.get(), size.width, size.height, size.width * 4, isKept, 0xffffffff};
  _surface->paint(_screen, _now);
  return _screen;
}

void HeadlessHost::Impl::moveClock(double now) {
  _now = now;
  if (AnimationEngine::shared().isRunning()) _isOutdated = true;
  UIApplication::sharedApplication().step(now);
}

HeadlessHost::HeadlessHost(const Options& options) : _impl(std::make_unique<Impl>(options)) {}

// Closing the window ends running animations; their completions run before the host is destroyed.
HeadlessHost::~HeadlessHost() {
  _impl->closeWindow();
  runMainQueue();
}

double HeadlessHost::now() const {
  return _impl->now();
}

void HeadlessHost::advance(double seconds) {
  runMainQueue();
  const double end = now() + (std::isfinite(seconds) ? seconds : 0);
  while (now() < end) {
    _impl->moveClock(std::min(now() + kFrame, end));
    runMainQueue();
  }
}

// The number of turns is limited, because a block that posts itself again forever must not block the caller.
void HeadlessHost::runMainQueue() {
  for (int turn = 0; turn < 1000; ++turn) {
    const bool hasDispatched = g_main_context_iteration(nullptr, FALSE);
    if (DispatchQueue::drainMain() == 0 && !hasDispatched) return;
  }
}

bool HeadlessHost::runUntil(const std::function<bool()>& condition, double seconds, bool animate) {
  const double began = realTime(), clockBegan = now();
  const Ticker ticker(kPoll);
  while (!condition()) {
    const double elapsed = realTime() - began;
    if (elapsed >= seconds) return false;
    if (animate) _impl->moveClock(std::max(now(), clockBegan + elapsed));
    g_main_context_iteration(nullptr, TRUE);
  }
  return true;
}

bool HeadlessHost::touchDown(double x, double y) {
  return _impl->window().touchBegan(kFinger, _impl->surface().inStage({x, y}), now());
}
void HeadlessHost::touchMove(double x, double y) {
  _impl->window().touchMoved(kFinger, _impl->surface().inStage({x, y}), now());
}
void HeadlessHost::touchUp(double x, double y) {
  _impl->window().touchEnded(kFinger, _impl->surface().inStage({x, y}), now());
}
void HeadlessHost::touchCancel() {
  _impl->window().touchCancelled(kFinger);
}

bool HeadlessHost::tap(double x, double y) {
  const bool isTaken = touchDown(x, y);
  touchUp(x, y);
  return isTaken;
}

bool HeadlessHost::movePointer(double x, double y) {
  return _impl->surface().pointerMoved(CGPoint{x, y});
}

bool HeadlessHost::scroll(double x, double y, double dx, double dy) {
  const double scale = _impl->surface().stage().scale;
  return _impl->window().scroll(_impl->surface().inStage({x, y}), dx / scale, dy / scale);
}

bool HeadlessHost::pressKey(Key key) {
  return _impl->window().pressKey(key);
}

std::vector<HeadlessHost::AccessibleElement> HeadlessHost::accessibleElements() {
  const AccessibleTree tree = _impl->surface().currentAccessibleTree();
  std::vector<AccessibleElement> elements;
  const auto add = [&](const oq::AccessibleElement& element) {
    const CGPoint middle = element.frame.center();
    elements.push_back({nameOf(element.role), element.name, element.isFocused, middle.x, middle.y});
  };
  if (tree.dialog) add(*tree.dialog);
  std::for_each(tree.elements.begin(), tree.elements.end(), add);
  return elements;
}

void HeadlessHost::setScale(double scale) {
  if (isLength(scale)) _impl->setScale(scale);
}

void HeadlessHost::setScreenSize(double width, double height) {
  if (isLength(width) && isLength(height)) _impl->setSize({width, height});
}

void HeadlessHost::setActive(bool active) {
  _impl->setVisible(active);
}

std::vector<std::shared_ptr<HeadlessPage>> HeadlessHost::pages() const {
  return _impl->engine().pages();
}

void HeadlessHost::refusePages(const std::string& reason) {
  _impl->engine().refuse(reason);
}

HeadlessHost::Pixel HeadlessHost::pixelAt(double x, double y) {
  const PixelBuffer& screen = _impl->screen();
  const double column = std::floor(x * _impl->scale()), row = std::floor(y * _impl->scale());
  if (!(column >= 0 && row >= 0 && column < screen.width && row < screen.height)) return {255, 255, 255};
  const std::uint32_t pixel = screen.pixels[static_cast<std::ptrdiff_t>(row) * screen.width + static_cast<int>(column)];
  return {static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
          static_cast<std::uint8_t>(pixel)};
}

bool HeadlessHost::writePng(const std::filesystem::path& file) {
  const PixelBuffer& screen = _impl->screen();
  if (!screen.pixels) return false;
  // Every pixel is opaque.
  cairo_surface_t* image =
      cairo_image_surface_create_for_data(static_cast<unsigned char*>(static_cast<void*>(screen.pixels)),
                                          CAIRO_FORMAT_RGB24, screen.width, screen.height, screen.stride);
  const bool isWritten = cairo_surface_write_to_png(image, file.c_str()) == CAIRO_STATUS_SUCCESS;
  cairo_surface_destroy(image);
  return isWritten;
}

}  // namespace oq
