// SPDX-License-Identifier: Apache-2.0
#include "support/PollHost.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <future>
#include <limits>
#include <thread>
#include <utility>

#include "Foundation/Values/Base64.h"
#include "UI/OQPopWindow.h"
#include "UI/UIImageView+OQWebCache.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "support/EngineTest.h"

namespace oq {
namespace {

constexpr double kScale = 1.25, kFrame = 1.0 / 60;
constexpr CGSize kWindow = {375, 700};

/// A host that has a widget with the keyboard focus, and that compares each frame with one that is painted as a whole.
/// Its clock moves on by a frame in each pass of the loop.
class CheckedHost : public test::PollHost {
 public:
  CheckedHost() : PollHost(kWindow, kScale) {}

  double now() const override { return _now; }
  using PollHost::frameWanted;
  void dialogChanged(bool isShown) override { calls.push_back(isShown ? "take focus" : "give focus back"); }
  HostFocus hostFocus() override { return widget; }
  void restoreFocus(const HostFocus& focus) override {
    calls.push_back(focus == former ? "restore" : "restore another widget");
  }
  bool wantsElements() const override { return true; }
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
    if (comparesFrames) {
      EXPECT_EQ(differences(buffer, time), 0) << "frame " << frames.size();
    }
  }
  std::uint32_t pixel(int x, int y) const {
    return pixels.empty() ? 0 : pixels[static_cast<std::size_t>(y * surface().pixelSize().width + x)];
  }
  HostSurface& surface() const { return const_cast<CheckedHost*>(this)->PollHost::surface(); }

  [[nodiscard]] bool runUntil(const std::function<bool()>& condition) {
    for (int turn = 0; !condition() && turn < 20'000; ++turn) {
      runOnce(0.002);
      nextFrame();
    }
    return condition();
  }
  void nextFrame() { _now += kFrame; }
  /// Lets time pass without painting, as while a compositor shows no frames of the window.
  void skipFrames(int count) {
    for (int frame = 0; frame < count; ++frame, nextFrame()) pump(1);
  }
  /// Runs until no frame, block or animation is left.
  [[nodiscard]] bool rest() {
    return runUntil([this] { return pump(1) > 1 && !isFrameDue(); });
  }

  std::shared_ptr<int> former = std::make_shared<int>();
  HostFocus widget = former;
  std::vector<std::string> calls;
  std::map<std::uint64_t, AccessibleElement> known;  ///< the elements, built only from the changes
  std::vector<PaintedFrame> frames;
  std::vector<std::uint32_t> pixels;
  bool comparesFrames = true;  ///< which takes longer than a frame

 private:
  double _now = 0;
  /// The number of bytes that differ from a painting of the whole frame, apart from rounding. PixelFrames paints the
  /// whole frame, because the surface would count this painting as one of its frames.
  int differences(const PixelBuffer& buffer, double time) {
    WindowStage stage(kWindow, 1.5);
    stage.setWindow(surface().window());
    std::vector<std::uint32_t> whole(pixels.size());
    PixelFrames().paint(stage, {whole.data(), buffer.width, buffer.height, buffer.stride}, kScale, time);
    int count = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
      for (int shift = 0; shift < 32; shift += 8) {
        const auto byte = [shift](std::uint32_t pixel) { return static_cast<int>(pixel >> shift & 0xff); };
        count += std::abs(byte(whole[at]) - byte(pixels[at])) > 1;
      }
    }
    return count;
  }
};

struct QuietClient final : HostSurface::Client {
  void frameWanted() override {}
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

TEST_F(PollLoop, ShowsAMessageAndHandlesItsFocusAndTouches) {
  std::vector<std::int64_t> codes;
  const auto window = makeMainObject<OQPopWindow>();
  EXPECT_TRUE(host.rest() && host.surface().isEmpty());
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
  host.surface().setElementFocused(tree.elements.front().id, true);
  EXPECT_EQ(host.surface().window()->focusedView(), host.surface().viewOf(button.id)) << "a text takes no focus";

  // A second message takes the focus. When it closes, the first one gets the focus back, on the same button as before.
  const auto shows = [&](const std::string& dialog) {
    return host.runUntil([&] { return host.surface().accessibleTree().dialog->name == dialog; }) && host.rest();
  };
  const auto closeOther = [&](bool isFocused) {
    EXPECT_FALSE(host.surface().activate(button.id)) << "covered";
    const std::uint64_t other = host.surface().accessibleTree().elements.back().id;
    host.surface().setElementFocused(other, true);
    host.surface().setElementFocused(button.id, true);
    EXPECT_EQ(host.surface().window()->focusedView(), isFocused ? host.surface().viewOf(other) : nullptr);
    EXPECT_TRUE(host.surface().activate(other));
    return shows("title");
  };
  makeMainObject<OQPopWindow>()->popWithTitle("other", "text", nullptr);
  ASSERT_TRUE(shows("other") && closeOther(true));
  const auto isMarked = [&] { return host.rest() && host.surface().accessibleTree().elements.back().isFocused; };
  EXPECT_TRUE(isMarked());
  // A second message opens while the window has no focus, and closes while the window has the focus or has none.
  for (const bool closesFocused : {true, false}) {
    host.surface().setFocused(false);
    makeMainObject<OQPopWindow>()->popWithTitle("other", "text", nullptr);
    ASSERT_TRUE(shows("other"));
    host.surface().setFocused(closesFocused);
    EXPECT_FALSE(host.surface().window()->focusedView()) << "it is covered";
    ASSERT_TRUE(closeOther(closesFocused));
    EXPECT_EQ(isMarked(), closesFocused);
    host.surface().setFocused(true);
    EXPECT_TRUE(isMarked());
  }

  const CGPoint at = button.frame.center();
  EXPECT_TRUE(host.surface().touchBegan(1, at));
  EXPECT_TRUE(host.surface().touchBegan(2, {5, 5})) << "nothing reaches the host past a message";
  host.surface().touchEnded(1, at);
  host.surface().touchCancelled(2);
  ASSERT_TRUE(host.runUntil([&] { return codes.size() == 2; }) && host.rest());
  std::vector<std::string> expected(4, "take focus");
  expected.insert(expected.end(), {"restore", "give focus back"});
  EXPECT_EQ(host.calls, expected);
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
  while (host.runOnce(0)) {
  }
  arrived.set_value();
  EXPECT_TRUE(host.runOnce(30)) << "the picture ends the sleep";
  EXPECT_TRUE(host.runUntil([&] { return host.pixel(100, 100) != 0; }) && host.rest());
  const PixelRect& damage = host.frames.back().damage;
  EXPECT_LT(damage.width * damage.height, 1.1 * kScale * kScale * 100 * 80);
  const std::size_t frames = host.frames.size();
  for (int turn = 0; turn < 3; ++turn) host.runOnce(0.01);
  EXPECT_EQ(host.frames.size(), frames) << "nothing is painted while nothing changes";
}

TEST_F(PollLoop, MessageWaitsWhileTheHostPaintsNoFrames) {
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
  host.surface().paint(PixelBuffer{}, host.now());
  host.skipFrames(1);
  EXPECT_EQ(visibility(), UISceneVisibility::HeldBack) << "nothing was painted";
  EXPECT_TRUE(host.runUntil([&] { return codes.size() == 1; }));
}

TEST_F(PollLoop, EmptyLayerIsNotHeldBackAndDelaysNoOtherWindow) {
  ASSERT_TRUE(host.rest());
  host.setNeedsFrame(*host.surface().window());
  QuietClient client;
  HostSurface other(host, client, kWindow, 1, 1.5);
  other.connect();
  const auto view = std::make_shared<UIView>(CGRectMake(0, 0, 100, 100));
  other.window()->addSubview(view);
  bool hasEnded = false;
  UIView::animateWithDuration(
      4 * kFrame, [&] { view->setAlpha(0.5); }, [&](bool) { hasEnded = true; });
  host.skipFrames(8);
  EXPECT_TRUE(hasEnded) << "an empty layer need not be painted";
  host.skipFrames(8);
  EXPECT_EQ(UIApplication::sharedApplication().connectedScenes().front()->visibility(), UISceneVisibility::OnScreen);
}

TEST_F(PollLoop, SleepsBetweenTheFramesOfAnAnimation) {
  std::vector<int> passes;
  for (const bool paintsContinuously : {false, true}) {
    ASSERT_TRUE(host.rest());
    host.comparesFrames = false;
    makeMainObject<OQPopWindow>()->popWithTitle("title", "text", nullptr);
    ASSERT_TRUE(host.runUntil([&] { return host.surface().isAnimating(); }));
    host.surface().setPaintsContinuously(paintsContinuously);
    int wakes = 0, quickPasses = 0, returns = 0;
    bool pressed = true;
    auto last = std::chrono::steady_clock::now();
    passes.push_back(0);
    for (; host.surface().isAnimating() && passes.back() < 1000; ++passes.back(), host.nextFrame()) {
      if (paintsContinuously) host.frameWanted();
      const bool isWoken = host.runOnce(0);
      // While a busy machine takes long for a pass, the timer of the next frame may wake the host.
      const auto passed = std::chrono::steady_clock::now() - std::exchange(last, std::chrono::steady_clock::now());
      const bool isQuick = passed < std::chrono::milliseconds(8);
      quickPasses += isQuick;
      wakes += isQuick && isWoken;
      returns += host.pump(1) < kFrame / 2;
      if (passes.back() == 5) pressed = host.surface().activate(host.surface().accessibleTree().elements.back().id);
    }
    host.surface().setPaintsContinuously(false);
    EXPECT_GT(passes.back(), 10);
    EXPECT_LE(wakes, quickPasses / 2 + 2) << "a frame wakes the host";
    EXPECT_LE(returns, 4);
    EXPECT_FALSE(pressed) << "a moving message cannot be pressed";
  }
  EXPECT_LE(passes[1], passes[0] + 3) << "the end waits for one frame only";
}

TEST_F(PollLoop, FillsWindowsToTheLastPixel) {
  QuietClient client;
  for (const auto& [size, scale] : {std::pair(CGSizeMake(665, 700), 1.25), std::pair(CGSizeMake(333, 555), 1.5),
                                    std::pair(CGSizeMake(1001, 777), 1.1), std::pair(CGSizeMake(375, 811), 1.75)}) {
    HostSurface surface(host, client, size, scale, 1.5);
    const auto view = std::make_shared<UIView>(surface.window()->bounds());
    view->setBackgroundColor({0, 0, 0, 1});
    view->setFillsSurroundings(true);
    surface.window()->addSubview(view);
    const PixelRect whole = surface.pixelSize();
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(whole.width) * whole.height);
    surface.paint(PixelBuffer{pixels.data(), whole.width, whole.height, whole.width * 4}, 0);
    EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 0xff000000), std::ssize(pixels)) << size.width;
  }
}

TEST_F(PollLoop, PumpReturnsTheSecondsUntilItWantsToRunAgain) {
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
