// SPDX-License-Identifier: Apache-2.0
#include "support/PollHost.h"

#include <cairo.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <limits>
#include <thread>

#include "Foundation/Values/Base64.h"
#include "UI/OQPopWindow.h"
#include "UI/UIImageView+OQWebCache.h"
#include "UIKit/Painting/CairoPainter.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

constexpr double kScale = 1.25, kFrame = 1.0 / 60;

/// A host that has a widget with the keyboard focus, and that compares each frame with one that is painted as a whole.
/// Its clock moves on by a frame in each pass of the loop.
class CheckedHost : public test::PollHost {
 public:
  CheckedHost() : PollHost({375, 700}, kScale) {}

  double now() const override { return _now; }
  void dialogChanged(bool isShown) override { calls.push_back(isShown ? "take focus" : "give focus back"); }
  HostFocus hostFocus() override { return widget; }
  void restoreFocus(const HostFocus& focus) override {
    calls.push_back(focus == former ? "restore" : "restore another widget");
  }
  void elementsChanged(const AccessibleTree& tree) override {
    for (const std::uint64_t id : tree.removed) EXPECT_EQ(known.erase(id), 1u);
    for (const std::uint64_t id : tree.added) EXPECT_TRUE(known.emplace(id, *tree.find(id)).second);
    for (const std::uint64_t id : tree.changed) known[id] = *tree.find(id);
    EXPECT_EQ(known.size(), tree.elements.size() + tree.dialog.has_value());
    for (const auto& [id, element] : known) EXPECT_EQ(element, *tree.find(id));
  }
  void show(const PixelBuffer& buffer, const PaintedFrame& painted, double time) override {
    frames.push_back(painted);
    pixels.assign(buffer.pixels, buffer.pixels + buffer.width * buffer.height);
    EXPECT_EQ(painted.result == PaintedFrame::Result::Nothing, pixels == std::vector<std::uint32_t>(pixels.size()));
    EXPECT_EQ(differences(buffer, time), 0) << "frame " << frames.size();
  }
  std::uint32_t pixel(int x, int y) const {
    return pixels.empty() ? 0 : pixels[static_cast<std::size_t>(y * surface().pixelSize().width + x)];
  }
  HostSurface& surface() const { return const_cast<CheckedHost*>(this)->PollHost::surface(); }

  [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
    for (int turn = 0; !condition() && turn < 20'000; ++turn) {
      runOnce(0.002);
      _now += kFrame;
    }
    return condition();
  }
  /// Lets time pass without painting, as while a compositor shows no frames of the window.
  void skipFrames(int count) {
    for (int frame = 0; frame < count; ++frame, _now += kFrame) pump(1);
  }
  /// Runs until no frame, block or animation is left.
  [[nodiscard]] bool rest() {
    return runUntil([this] { return pump(1) > 1 && !isFrameWanted(); });
  }

  std::shared_ptr<int> former = std::make_shared<int>();
  HostFocus widget = former;
  std::vector<std::string> calls;
  std::map<std::uint64_t, AccessibleElement> known;  ///< from the changes alone
  std::vector<PaintedFrame> frames;
  std::vector<std::uint32_t> pixels;

 private:
  double _now = 0;
  /// The number of pixels that a painter without a damaged area paints differently, apart from rounding.
  int differences(const PixelBuffer& buffer, double time) {
    cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, buffer.width, buffer.height);
    cairo_t* cr = cairo_create(image);
    const double scale = kScale * surface().stage().scale;
    cairo_scale(cr, scale, scale);
    CairoPainter painter(cr, scale);
    surface().paint(painter, time);
    cairo_destroy(cr);
    const unsigned char* whole = cairo_image_surface_get_data(image);
    const auto* kept = reinterpret_cast<const unsigned char*>(buffer.pixels);
    int count = 0;
    for (int at = 0; at < buffer.height * buffer.stride; ++at) count += std::abs(whole[at] - kept[at]) > 1;
    cairo_surface_destroy(image);
    return count;
  }
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
  CheckedHost host;

 private:
  std::atomic<bool> _isOver = false;
  std::thread _other{[this] {
    while (!_isOver) g_main_context_iteration(nullptr, FALSE);
  }};
};

TEST_F(PollLoop, ShowsAMessageAndPassesOnItsInput) {
  std::vector<std::int64_t> codes;
  const auto window = makeMainObject<OQPopWindow>();
  EXPECT_TRUE(host.surface().isEmpty());
  window->popWithTitle("title", "text", [&](std::int64_t code, const JSONValue&) { codes.push_back(code); });
  ASSERT_TRUE(host.runUntil([&] { return codes.size() == 1; }) && host.rest());
  EXPECT_FALSE(host.surface().isEmpty());
  EXPECT_GT(host.frames.size(), 10u) << "the opening is animated";
  EXPECT_EQ(host.calls, std::vector<std::string>{"take focus"});
  EXPECT_GT(host.pixel(5, 5) >> 24, 0u) << "the rest of the window is dimmed";
  const AccessibleTree tree = host.surface().accessibleTree();
  ASSERT_TRUE(tree.dialog && tree.elements.size() == 4);
  EXPECT_EQ(tree.dialog->name + ": " + tree.dialog->description, "title: text");

  // The keyboard marks a button, and only that button is painted again.
  host.widget = nullptr;
  const std::size_t before = host.frames.size();
  const AccessibleElement button = tree.elements.back();
  EXPECT_TRUE(host.surface().press(KeyboardKey::BackTab) && host.rest());
  EXPECT_TRUE(host.known[button.id].isFocused);
  ASSERT_EQ(host.frames.size(), before + 1);
  const PixelRect& damage = host.frames.back().damage;
  EXPECT_LT(damage.width * damage.height, 1.2 * kScale * kScale * button.frame.size.width * button.frame.size.height);
  host.surface().setFocused(false);
  EXPECT_TRUE(host.rest());
  EXPECT_FALSE(host.known[button.id].isFocused);
  host.surface().setFocused(true);
  EXPECT_TRUE(host.rest());
  EXPECT_TRUE(host.known[button.id].isFocused);

  // A second message takes the focus, and the first one gets it back with the button that had it.
  const auto shows = [&](const std::string& dialog) {
    return host.runUntil([&] { return host.surface().accessibleTree().dialog->name == dialog; }) && host.rest();
  };
  const auto closeOther = [&] {
    EXPECT_FALSE(host.surface().activate(button.id)) << "covered";
    EXPECT_TRUE(host.surface().activate(host.surface().accessibleTree().elements.back().id));
    return shows("title");
  };
  makeMainObject<OQPopWindow>()->popWithTitle("other", "text", nullptr);
  ASSERT_TRUE(shows("other") && closeOther());
  EXPECT_TRUE(host.surface().accessibleTree().elements.back().isFocused);
  // A message opens while the user looks at another window.
  host.surface().setFocused(false);
  makeMainObject<OQPopWindow>()->popWithTitle("other", "text", nullptr);
  ASSERT_TRUE(shows("other"));
  host.surface().setFocused(true);
  EXPECT_FALSE(host.surface().window()->focusedView()) << "it is covered";
  ASSERT_TRUE(closeOther());

  const CGPoint at = button.frame.center();
  EXPECT_TRUE(host.surface().touchBegan(1, at));
  EXPECT_TRUE(host.surface().touchBegan(2, {5, 5})) << "nothing reaches the host past a message";
  host.surface().touchEnded(1, at);
  host.surface().touchCancelled(2);
  ASSERT_TRUE(host.runUntil([&] { return codes.size() == 2; }) && host.rest());
  EXPECT_EQ(host.calls,
            (std::vector<std::string>{"take focus", "take focus", "take focus", "restore", "give focus back"}));
  EXPECT_EQ(host.frames.back().result, PaintedFrame::Result::Nothing);
  EXPECT_TRUE(host.surface().isEmpty() && host.known.empty());
  EXPECT_FALSE(host.surface().touchBegan(1, at));
  EXPECT_FALSE(host.surface().press(KeyboardKey::Escape));
  EXPECT_FALSE(host.surface().activate(button.id));
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
  view->setFrame({{50, 60}, {100, 80}});
  host.surface().window()->addSubview(view);
  oq_setImageWithURL(view, URL::withString("https://p.example/red.png"));
  ASSERT_TRUE(host.rest());
  EXPECT_EQ(host.pixel(100, 100), 0u);
  arrived.set_value();
  EXPECT_TRUE(host.runUntil([&] { return host.pixel(100, 100) != 0; }) && host.rest());
  const PixelRect& damage = host.frames.back().damage;
  EXPECT_LT(damage.width * damage.height, 1.1 * kScale * kScale * 100 * 80);
  const std::size_t frames = host.frames.size();
  for (int turn = 0; turn < 3; ++turn) host.runOnce(0.01);
  EXPECT_EQ(host.frames.size(), frames) << "nothing is painted while nothing changes";
}

TEST_F(PollLoop, MessageWithoutFramesWaitsUntilThereAreFrames) {
  std::vector<std::int64_t> codes;
  makeMainObject<OQPopWindow>()->popWithTitle("title", "text",
                                              [&](std::int64_t code, const JSONValue&) { codes.push_back(code); });
  ASSERT_TRUE(host.runUntil([&] { return host.frames.size() == 3; }));
  const auto visibility = [] { return UIApplication::sharedApplication().connectedScenes().front()->visibility(); };
  host.skipFrames(15);
  EXPECT_EQ(visibility(), UISceneVisibility::OnScreen) << "the opening has ended, but its last frame may be slow";
  host.skipFrames(15);
  EXPECT_EQ(visibility(), UISceneVisibility::HeldBack);
  EXPECT_TRUE(codes.empty()) << "it opened unseen";
  EXPECT_TRUE(host.runUntil([&] { return codes.size() == 1; }));
}

TEST_F(PollLoop, PumpReturnsWhenItWantsToRunAgain) {
  ASSERT_TRUE(host.rest());
  EXPECT_EQ(host.pump(1), std::numeric_limits<double>::infinity());
  int turns = 0;
  const std::function<void()> again = [&] {
    if (++turns < 3) DispatchQueue::main().async(again);
  };
  DispatchQueue::main().async(again);
  EXPECT_EQ(host.pump(1), 0);
  EXPECT_EQ(turns, 1) << "a block that queues itself again holds no frame";
  EXPECT_TRUE(host.rest());
  EXPECT_EQ(turns, 3);
}

}  // namespace
}  // namespace oq
