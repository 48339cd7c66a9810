// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/headless/HeadlessHost.h"

#include <glib.h>

#include <algorithm>
#include <cmath>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "Host/HostInstallation.h"
#include "Host/HostSurface.h"
#include "Host/SurfaceHost.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "headless/PageEngine.h"
#include "headless/Screenshot.h"

namespace oq {

namespace {

constexpr double kFrame = 1.0 / 60;
/// A condition may depend on other threads, so it is checked at least once in this many milliseconds.
constexpr guint kPoll = 5;
constexpr int kFinger = 0;

double realTime() {
  return static_cast<double>(g_get_monotonic_time()) / 1e6;
}

bool isLength(double points) {
  return std::isfinite(points) && points > 0;
}

const char* roleOf(const UIView& view) {
  const UIAccessibilityTraits traits = view.accessibilityTraits();
  if (view.accessibilityViewIsModal()) return "dialog";
  if (traits & UIAccessibilityTraitButton) return "button";
  if (traits & UIAccessibilityTraitLink) return "link";
  if (traits & UIAccessibilityTraitHeader) return "heading";
  return traits & UIAccessibilityTraitImage ? "image" : "text";
}

/// Wakes the main loop at an interval while it exists.
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

  // The caller moves the clock, and the screen is painted when the caller reads it.
  double now() const override { return _now; }
  void setDeadline(double) override {}
  void frameWanted() override { _screen.reset(); }

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
  /// The painted screen, kept until something changes or moves.
  cairo_surface_t* screen() {
    if (!_screen) _screen = takeScreenshot(*_surface, _size, _scale, _now);
    return _screen.get();
  }
  AccessibleElement describe(const UIView& view) const;

 private:
  double _now = 0;
  CGSize _size;
  double _scale;
  Screenshot _screen;
  PageEngine _engine;
  std::optional<HostInstallation> _installation;
  std::optional<HostSurface> _surface;  ///< empty after closeWindow()
};

HeadlessHost::Impl::Impl(const Options& options)
    : _size{isLength(options.width) ? options.width : Options{}.width,
            isLength(options.height) ? options.height : Options{}.height},
      _scale(isLength(options.scale) ? options.scale : 1) {
  prepareProcess({options.applicationIdentifier, options.applicationVersion, options.dataDirectory});
  _installation.emplace(*this, &_engine);
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
  _screen.reset();
  if (!_surface) return;
  _surface->setSize(size);
  // This size is final, so the stage need not wait for a pause in resizing.
  _surface->endResizing();
}

void HeadlessHost::Impl::setScale(double scale) {
  _scale = scale;
  if (_surface) _surface->setPixelsPerPoint(scale);
}

HeadlessHost::AccessibleElement HeadlessHost::Impl::describe(const UIView& view) const {
  const CGPoint middle = view.convertPointToWindow(view.bounds().center());
  const CGPoint place = _surface->stage().toWindow(middle);
  return {roleOf(view), view.accessibilityLabel(), _surface->window()->focusedView().get() == &view, place.x, place.y};
}

void HeadlessHost::Impl::moveClock(double now) {
  _now = now;
  if (AnimationEngine::shared().isRunning()) _screen.reset();
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
  return _impl->window().pointerMoved(_impl->surface().inStage({x, y}));
}

bool HeadlessHost::scroll(double x, double y, double dx, double dy) {
  const double scale = _impl->surface().stage().scale;
  return _impl->window().scroll(_impl->surface().inStage({x, y}), dx / scale, dy / scale);
}

bool HeadlessHost::pressKey(Key key) {
  return _impl->window().pressKey(key);
}

std::vector<HeadlessHost::AccessibleElement> HeadlessHost::accessibleElements() {
  UIWindow& window = _impl->window();
  std::vector<AccessibleElement> elements;
  auto root = frontmostDialog(window);
  if (root) {
    elements.push_back(_impl->describe(*root));
  } else {
    root = window.shared_from_this();
  }
  for (const auto& view : accessibilityElements(root)) elements.push_back(_impl->describe(*view));
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
  cairo_surface_t* screen = _impl->screen();
  const int column = static_cast<int>(std::floor(x * _impl->scale()));
  const int row = static_cast<int>(std::floor(y * _impl->scale()));
  const unsigned char* data = cairo_image_surface_get_data(screen);
  if (!data || column < 0 || row < 0 || column >= cairo_image_surface_get_width(screen) ||
      row >= cairo_image_surface_get_height(screen)) {
    return {255, 255, 255};
  }
  const auto* line = reinterpret_cast<const std::uint32_t*>(
      static_cast<const void*>(data + row * cairo_image_surface_get_stride(screen)));
  const std::uint32_t pixel = line[column];
  return {static_cast<std::uint8_t>(pixel >> 16), static_cast<std::uint8_t>(pixel >> 8),
          static_cast<std::uint8_t>(pixel)};
}

bool HeadlessHost::writePng(const std::filesystem::path& file) {
  cairo_surface_t* screen = _impl->screen();
  return cairo_surface_write_to_png(screen, file.c_str()) == CAIRO_STATUS_SUCCESS;
}

}  // namespace oq
