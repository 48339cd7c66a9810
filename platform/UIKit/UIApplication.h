#pragma once

#include <memory>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "UIKit/UIHost.h"
#include "UIKit/UIWindow.h"
#include "oqsdk/Export.h"

namespace oq {

enum class UISceneActivationState : int {
  Unattached = -1,
  ForegroundActive = 0,
  ForegroundInactive = 1,
  Background = 2
};

/// One attached window of the host, with the windows that the library shows there.
class UIScene {
 public:
  UISceneActivationState activationState() const { return _state; }
  void setActivationState(UISceneActivationState state) { _state = state; }
  const std::vector<std::shared_ptr<UIWindow>>& windows() const { return _windows; }
  void addWindow(std::shared_ptr<UIWindow> window) { _windows.push_back(std::move(window)); }

 private:
  UISceneActivationState _state = UISceneActivationState::Unattached;
  std::vector<std::shared_ptr<UIWindow>> _windows;
};

/// What is installed: the host and its scenes, in the order in which they were attached. Main thread only.
class OQSDK_EXPORT UIApplication {
 public:
  static UIApplication& sharedApplication();

  /// Owned by the caller, who takes it away with nullptr before it ends.
  void setHost(UIHost* host) { _host = host; }
  UIHost* host() const { return _host; }

  const std::vector<std::shared_ptr<UIScene>>& connectedScenes() const { return _scenes; }
  void connectScene(std::shared_ptr<UIScene> scene) { _scenes.push_back(std::move(scene)); }
  void disconnectScene(const std::shared_ptr<UIScene>& scene);
  /// The first window of the first scene, whatever its state.
  std::shared_ptr<UIWindow> keyWindow() const;

  CGRect statusBarFrame() const { return _statusBarFrame; }
  void setStatusBarFrame(CGRect frame) { _statusBarFrame = frame; }

  /// The host's clock; 0 without a host.
  double now() const { return _host ? _host->now() : 0; }
  /// Ends what is over by now and tells the host the next deadline.
  void step(double now);
  /// A window changed, or an animation began.
  void windowNeedsFrame(UIWindow& window);
  void animationsChanged();

 private:
  UIHost* _host = nullptr;
  std::vector<std::shared_ptr<UIScene>> _scenes;
  CGRect _statusBarFrame;
};

/// A window with the root that pages are pushed on later: a navigation controller with a hidden bar over a transparent
/// controller that takes no touches, so that the host's own widgets stay in reach.
OQSDK_EXPORT std::shared_ptr<UIWindow> makeHostWindow(CGRect frame);

}  // namespace oq
