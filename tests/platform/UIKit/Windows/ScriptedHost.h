// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq {

/// A host with a manual clock that records the view layer's requests.
class ScriptedHost : public UIHost {
 public:
  double now() const override { return time; }
  void setNeedsFrame(UIWindow&) override { ++frames; }
  void setDeadline(double to) override { deadline = to; }

  double time = 0;
  int frames = 0;
  double deadline = std::numeric_limits<double>::infinity();
};

/// Runs the blocks on the main queue, and those that they add.
inline void runMainQueue() {
  while (DispatchQueue::drainMain() > 0) {
  }
}

/// A window of 100 by 200 points with a scripted host.
class UIKitTest : public testing::Test {
 protected:
  UIKitTest() {
    DispatchQueue::installMain();
    runMainQueue();
    UIScreen::mainScreen().setBounds(CGRectMake(0, 0, 100, 200));
    UIApplication::sharedApplication().setHost(&host);
    window = std::make_shared<UIWindow>(CGRectMake(0, 0, 100, 200));
  }
  ~UIKitTest() override {
    window.reset();
    runMainQueue();
    UIApplication::sharedApplication().setHost(nullptr);
    UIScreen::mainScreen().setBounds({});
  }

  /// Sets the clock, and runs the completions that follow.
  void stepTo(double time) {
    host.time = time;
    UIApplication::sharedApplication().step(time);
    runMainQueue();
  }

  template <class View = UIView>
  std::shared_ptr<View> add(CGRect frame, std::shared_ptr<UIView> parent = nullptr) {
    auto view = std::make_shared<View>();
    view->setFrame(frame);
    (parent ? parent : window)->addSubview(view);
    return view;
  }

  ScriptedHost host;
  std::shared_ptr<UIWindow> window;
};

}  // namespace oq
