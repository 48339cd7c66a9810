// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/headless/HeadlessHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <limits>
#include <thread>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "UIKit/Views/UIControl.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "oqsdk/TorvelinOqManager.h"
#include "support/ScratchFolder.h"

namespace oq {
namespace {

using Pixel = HeadlessHost::Pixel;
constexpr Pixel kWhite{255, 255, 255}, kRed{255, 0, 0};

std::shared_ptr<UIWindow> keyWindow() {
  return UIApplication::sharedApplication().keyWindow();
}

template <class View = UIView>
std::shared_ptr<View> addRed(CGRect frame) {
  auto view = std::make_shared<View>();
  view->setFrame(frame);
  view->setBackgroundColor(UIColor::redColor());
  keyWindow()->addSubview(view);
  return view;
}

/// Adds a red view and fades it out.
void fadeRed(double seconds, std::function<void(bool)> completion) {
  auto view = addRed(CGRectMake(0, 0, 10, 10));
  UIView::animateWithDuration(
      seconds, [&] { view->setAlpha(0); }, std::move(completion));
}

TEST(HeadlessHostTest, StartWithoutAnAnalyticsClassWarnsOnce) {
  const test::ScratchFolder folder;
  HeadlessHost host({.dataDirectory = folder.path()});
  auto config = TorvelinOqConfig::defaultConfig();
  config->setEnvType(3);  // not one of the three environments, so it has no server
  testing::internal::CaptureStderr();
  for (int start = 0; start < 2; ++start) TorvelinOqManager::startWithConfig(config);
  const std::string printed = testing::internal::GetCapturedStderr();
  const std::size_t warning = printed.find("OQSDK-WARNING");
  EXPECT_NE(printed.find("No class \"TorvelinSDK\" is registered", warning), std::string::npos) << printed;
  EXPECT_EQ(printed.find("OQSDK-", warning + 1), std::string::npos) << printed;
}

TEST(HeadlessHostTest, OneProcessCanHaveSeveralHostsOneAfterTheOther) {
  const test::ScratchFolder folder;
  for (double width : {100.0, 200.0}) {
    const HeadlessHost::Options options{
        .width = width,
        .applicationIdentifier = "com.example.w" + std::to_string(static_cast<int>(width)),
        .dataDirectory = folder.path()};
    bool finished = true;
    {
      HeadlessHost host(options);
      EXPECT_EQ(UIScreen::mainScreen().bounds(), CGRectMake(0, 0, width, 844));
      EXPECT_EQ(mainBundleIdentifier(), options.applicationIdentifier);
      EXPECT_EQ(applicationDataDirectory(), options.dataDirectory);
      EXPECT_EQ(host.now(), 0);
      EXPECT_EQ(UIApplication::sharedApplication().connectedScenes().size(), 1u);
      fadeRed(1, [&](bool value) { finished = value; });
      host.advance(0.5);
    }
    EXPECT_FALSE(finished) << "a running animation is cancelled";
    EXPECT_EQ(keyWindow(), nullptr);
    EXPECT_EQ(UIApplication::sharedApplication().host(), nullptr);
    EXPECT_TRUE(UIScreen::mainScreen().bounds().isEmpty());
    EXPECT_NE(applicationDataDirectory(), options.dataDirectory);
  }
}

TEST(HeadlessHostTest, ClockAdvancesInFramesAndCompletionsRunBetweenThem) {
  HeadlessHost host;
  double first = 0, second = 0;
  fadeRed(0.2, [&](bool) {
    first = host.now();
    UIView::animateWithDuration(
        0.1, [] { keyWindow()->setAlpha(0.5); }, [&](bool) { second = host.now(); });
  });
  host.advance(0.1);
  EXPECT_EQ(first, 0);
  host.advance(0.4);
  EXPECT_NEAR(first, 0.2, 1.0 / 60);
  EXPECT_NEAR(second, first + 0.1, 1.0 / 60);
  host.advance(std::numeric_limits<double>::infinity());  // ignored, because it is not finite
  EXPECT_DOUBLE_EQ(host.now(), 0.5);
}

TEST(HeadlessHostTest, WithAnimationsDisabledCompletionsComeAtOnce) {
  for (bool animations : {false, true}) {
    HeadlessHost::Options options;
    options.animations = animations;
    HeadlessHost host(options);
    bool completed = false;
    fadeRed(5, [&](bool) { completed = true; });
    host.runMainQueue();
    EXPECT_EQ(completed, !animations);
    EXPECT_EQ(host.pixelAt(5, 5), animations ? kRed : kWhite);
  }
}

TEST(HeadlessHostTest, RunUntilWaitsForOtherThreadsAndForTime) {
  HeadlessHost host;
  int posted = 0;
  std::thread poster([&] { DispatchQueue::main().async([&] { ++posted; }); });
  EXPECT_TRUE(host.runUntil([&] { return posted == 1; }, 20));
  poster.join();

  std::atomic<bool> isSet = false;
  std::thread setter([&] { isSet = true; });
  EXPECT_TRUE(host.runUntil([&] { return isSet.load(); }, 20)) << "nothing was posted";
  setter.join();
  EXPECT_FALSE(host.runUntil([] { return false; }, 0.02));
  EXPECT_EQ(host.now(), 0);

  bool hasFaded = false;
  fadeRed(0.05, [&](bool) { hasFaded = true; });
  EXPECT_TRUE(host.runUntil([&] { return hasFaded; }, 20, true));
  EXPECT_GT(host.now(), 0.0499);
}

TEST(HeadlessHostTest, TapReturnsWhetherAViewGotTheTouch) {
  HeadlessHost host;
  auto control = addRed<UIControl>(CGRectMake(0, 0, 50, 50));
  int taps = 0;
  control->addTarget([&](UIControl&) { ++taps; }, UIControlEventTouchUpInside);
  EXPECT_TRUE(host.tap(10, 10));
  EXPECT_FALSE(host.tap(100, 100));
  EXPECT_TRUE(host.touchDown(10, 10));
  host.touchMove(20, 20);
  host.touchCancel();
  host.touchUp(20, 20);
  EXPECT_EQ(taps, 1);
}

TEST(HeadlessHostTest, PixelsShowTheViewsAtTheScreensScale) {
  HeadlessHost host({.width = 100, .height = 200, .scale = 2, .dataDirectory = {}});
  addRed(CGRectMake(10, 10, 20, 20));
  EXPECT_EQ(host.pixelAt(9.5, 15), kWhite);
  EXPECT_EQ(host.pixelAt(10, 15), kRed);
  EXPECT_EQ(host.pixelAt(29.5, 29.5), kRed);
  EXPECT_EQ(host.pixelAt(1e9, -5), kWhite);

  host.setScreenSize(50, 300);
  host.setScreenSize(-1, 300);
  EXPECT_EQ(UIScreen::mainScreen().bounds(), CGRectMake(0, 0, 50, 300));
  EXPECT_EQ(keyWindow()->subviews().front()->frame(), CGRectMake(0, 0, 50, 300));
  EXPECT_EQ(host.pixelAt(10, 15), kRed);
}

TEST(HeadlessHostTest, WritesTheScreenAsPngOfAtLeastOnePixel) {
  HeadlessHost host({.width = 0.3, .height = 0.3, .dataDirectory = {}});
  const test::ScratchFolder folder;
  EXPECT_TRUE(host.writePng(folder / "screen.png"));
  const std::string written = test::textOfFile(folder / "screen.png");
  EXPECT_EQ(written.substr(1, 3), "PNG");
  EXPECT_EQ(written.substr(16, 8), std::string("\0\0\0\1\0\0\0\1", 8)) << "width and height";
  EXPECT_FALSE(host.writePng(folder / "missing/screen.png"));
}

}  // namespace
}  // namespace oq
