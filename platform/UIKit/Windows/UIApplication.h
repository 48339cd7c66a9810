#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "UIKit/Windows/UIHost.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/Export.h"

namespace oq {

enum class UISceneActivationState : int {
  Unattached = -1,
  ForegroundActive = 0,
  ForegroundInactive = 1,
  Background = 2
};

/// What the user can see of a scene's window.
enum class UISceneVisibility {
  NeverMapped,  ///< attached, but never on screen so far
  Hidden,       ///< not mapped any more, or minimised
  HeldBack,     ///< mapped, but the system shows none of its frames: minimised under Wayland, or wholly covered
  Mapped,       ///< its first frame is still to come
  OnScreen      ///< frames are painted
};

/// One attached window of the host, with the windows that the library shows there. Main thread only.
class UIScene {
 public:
  /// Kept by UIApplication from what the host reports.
  UISceneActivationState activationState() const { return _state; }
  UISceneVisibility visibility() const { return _visibility; }
  const std::vector<std::shared_ptr<UIWindow>>& windows() const { return _windows; }
  void addWindow(std::shared_ptr<UIWindow> window) { _windows.push_back(std::move(window)); }

 private:
  friend class UIApplication;
  bool wasMapped() const { return _visibility != UISceneVisibility::NeverMapped; }
  bool isMapped() const { return wasMapped() && _visibility != UISceneVisibility::Hidden; }

  UISceneActivationState _state = UISceneActivationState::Unattached;
  UISceneVisibility _visibility = UISceneVisibility::NeverMapped;
  std::uint64_t _lastUse = 0;     ///< counted by the application; 0: never used
  std::uint64_t _connection = 0;  ///< likewise
  std::vector<std::shared_ptr<UIWindow>> _windows;
};

/// What is installed: the host and its scenes. Main thread only.
///
/// A scene is foreground active while its window is mapped and not minimised. One whose frames are held back may be
/// minimised, so it is active only while no other scene is on screen. Before any window was mapped all scenes are
/// active, so that an application can prepare its first window.
class OQSDK_EXPORT UIApplication {
 public:
  static UIApplication& sharedApplication();

  /// Owned by the caller, who takes it away with nullptr before it ends.
  void setHost(UIHost* host) { _host = host; }
  UIHost* host() const { return _host; }

  /// The most recently used first, those that were mapped before those that never were; otherwise in the order in which
  /// they were connected.
  const std::vector<std::shared_ptr<UIScene>>& connectedScenes() const { return _scenes; }
  void connectScene(std::shared_ptr<UIScene> scene);
  void disconnectScene(const std::shared_ptr<UIScene>& scene);
  /// To be called by the host when it changes. A scene that was mapped is never "never mapped" again.
  void setSceneVisibility(UIScene& scene, UISceneVisibility visibility);
  /// The user turned to the scene's window. To be called by the host.
  void sceneWasUsed(UIScene& scene);
  /// Whether the user can see what the window shows. False for a window of no connected scene.
  bool isOnScreen(const UIWindow& window) const;
  /// Called after scenes have changed. Replaces an earlier observer.
  void setScenesObserver(std::function<void()> observer) { _scenesObserver = std::move(observer); }
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
  void scenesChanged();

  UIHost* _host = nullptr;
  std::vector<std::shared_ptr<UIScene>> _scenes;
  std::uint64_t _uses = 0, _connections = 0;
  std::function<void()> _scenesObserver;
  CGRect _statusBarFrame;
};

/// A window with the root that pages are pushed on later: a navigation controller with a hidden bar over a transparent
/// controller that takes no touches, so that the host's own widgets stay in reach.
OQSDK_EXPORT std::shared_ptr<UIWindow> makeHostWindow(CGRect frame);

}  // namespace oq
