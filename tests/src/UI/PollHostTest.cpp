// SPDX-License-Identifier: Apache-2.0
#include <cairo.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <future>
#include <thread>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Values/Base64.h"
#include "Host/HostInstallation.h"
#include "Host/HostSurface.h"
#include "Host/SurfaceHost.h"
#include "UI/OQPopWindow.h"
#include "UI/UIImageView+OQWebCache.h"
#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

constexpr int kWidth = 375, kHeight = 700;
constexpr int kFrame = 16, kRest = 50;  // milliseconds

/// A host with a plain poll loop, like that of a game. It paints only when the library asks for it.
class PollHost : public SurfaceHost, public HostSurface::Client {
 public:
  PollHost() {
    prepareProcess({"com.example.poll", "1.0", {}}, MainLoop::OfHost);
    DispatchQueue::setMainWake([this] { ::eventfd_write(_wake.get(), 1); });
    _surface.connect();
    _surface.setVisible(true);
  }
  ~PollHost() override {
    _surface.disconnect();
    DispatchQueue::setMainWake(nullptr);
    DispatchQueue::drainMain();
  }

  void frameWanted() override { _isFrameWanted = true; }
  HostSurface& surface() { return _surface; }
  int frames() const { return _frames; }
  std::uint32_t pixel(int x, int y) const { return _pixels[static_cast<std::size_t>(y * kWidth + x)]; }

  [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
    const double end = now() + 30;
    while (!condition() && now() < end) {
      DispatchQueue::drainMain(0.004);
      const bool isAnimating = AnimationEngine::shared().isRunning();
      if (isAnimating) UIApplication::sharedApplication().step(now());
      if (_isFrameWanted) paint();
      pollfd wake{_wake.get(), POLLIN, 0};
      const bool hasWork = _isFrameWanted || !DispatchQueue::isMainEmpty();
      if (!hasWork && ::poll(&wake, 1, isAnimating ? kFrame : kRest) > 0) {
        eventfd_t count;
        ::eventfd_read(_wake.get(), &count);
      }
    }
    return condition();
  }

 private:
  void paint() {
    _isFrameWanted = false;
    ++_frames;
    std::fill(_pixels.begin(), _pixels.end(), 0);
    cairo_surface_t* image =
        cairo_image_surface_create_for_data(static_cast<unsigned char*>(static_cast<void*>(_pixels.data())),
                                            CAIRO_FORMAT_ARGB32, kWidth, kHeight, kWidth * 4);
    cairo_t* cr = cairo_create(image);
    CairoPainter painter(cr, _surface.stage().scale);
    _surface.paint(painter, now());
    cairo_destroy(cr);
    cairo_surface_destroy(image);
  }

  const FileDescriptor _wake{::eventfd(0, EFD_CLOEXEC)};
  std::vector<std::uint32_t> _pixels = std::vector<std::uint32_t>(kWidth * kHeight);
  bool _isFrameWanted = false;
  int _frames = 0;
  HostSurface _surface{*this, *this, {kWidth, kHeight}, 1, 1.5};
  const HostInstallation _installation{*this, nullptr};
};

/// Another thread iterates GLib's default main context, as media libraries do.
class PollLoop : public test::WorldTest {
 protected:
  ~PollLoop() override {
    _isOver = true;
    _other.join();
    DispatchQueue::installMain();
  }

  std::shared_ptr<test::ScriptedTransport> network =
      std::make_shared<test::ScriptedTransport>(DispatchQueue::concurrent("test.pictures"));
  PollHost host;

 private:
  std::atomic<bool> _isOver = false;
  std::thread _other{[this] {
    while (!_isOver) g_main_context_iteration(nullptr, FALSE);
  }};
};

TEST_F(PollLoop, ShowsAMessageAndPassesOnItsTouches) {
  std::vector<std::int64_t> codes;
  const auto window = makeMainObject<OQPopWindow>();
  window->popWithTitle("title", "text", [&](std::int64_t code, const JSONValue&) { codes.push_back(code); });
  ASSERT_TRUE(host.runUntil([&] { return codes.size() == 1; }));
  EXPECT_TRUE(host.surface().hasDialog());
  EXPECT_GT(host.pixel(5, 5) >> 24, 0u) << "the rest of the window is dimmed";

  const auto elements = accessibilityElements(frontmostDialog(*host.surface().window()));
  const auto button = elements.back();
  const CGPoint at = host.surface().stage().toWindow(button->convertPointToWindow(button->bounds().center()));
  EXPECT_TRUE(host.surface().touchBegan(1, at));
  EXPECT_TRUE(host.surface().touchBegan(2, {5, 5})) << "nothing reaches the host past a message";
  host.surface().touchEnded(1, at);
  host.surface().touchCancelled(2);
  ASSERT_TRUE(host.runUntil([&] { return codes.size() == 2 && host.pixel(5, 5) == 0; }));
  EXPECT_FALSE(host.surface().touchBegan(1, at));
  EXPECT_FALSE(host.surface().press(KeyboardKey::Escape));
}

TEST_F(PollLoop, PaintsAPictureWhenItArrivesAndNothingAfterwards) {
  setURLTransport(network);
  std::promise<void> arrived;
  network->script("/red.png", [wait = arrived.get_future().share()](const auto&) {
    wait.wait();
    return test::ScriptedTransport::Answer{stringFromData(*dataWithBase64(
        "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mP8z8BQDwAEhQGAhKmMIQAAAABJRU5ErkJggg=="))};
  });
  const auto view = std::make_shared<UIImageView>();
  view->setFrame({{}, host.surface().stage().size});
  host.surface().window()->addSubview(view);
  oq_setImageWithURL(view, URL::withString("https://p.example/red.png"));
  ASSERT_TRUE(host.runUntil([&] { return host.frames() > 0 && DispatchQueue::isMainEmpty(); }));
  EXPECT_EQ(host.pixel(100, 100), 0u);
  arrived.set_value();
  EXPECT_TRUE(host.runUntil([&] { return host.pixel(100, 100) != 0; }));
  const int frames = host.frames();
  EXPECT_TRUE(host.runUntil([&, turns = 0]() mutable { return ++turns > 3; }));
  EXPECT_LE(host.frames(), frames + 1) << "nothing is painted while nothing changes";
}

}  // namespace
}  // namespace oq
