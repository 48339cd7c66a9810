// SPDX-License-Identifier: Apache-2.0
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

/// One attached window of the host, with the library's windows in it. Main thread only.
class UIScene {
 public:
  /// Updated by UIApplication from the host's reports.
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
  std::uint64_t _lastUse = 0;     ///< UIApplication's _uses after the last use; 0: never used
  std::uint64_t _connection = 0;  ///< UIApplication's _connections after the connection
  std::vector<std::shared_ptr<UIWindow>> _windows;
};

/// The installed host and its scenes. Main thread only.
///
/// A scene is foreground active while its window is mapped and not minimised. If the system shows none of a window's
/// frames, the window may be minimised. Its scene is then active only while no other scene is on screen. Before the
/// first window is mapped all scenes are active, so that an application can prepare its first window.
class OQSDK_EXPORT UIApplication {
 public:
  static UIApplication& sharedApplication();

  /// The caller owns the host, and must call setHost(nullptr) before destroying the host.
  void setHost(UIHost* host) { _host = host; }
  UIHost* host() const { return _host; }

  /// Scenes that have been mapped come before scenes that never were. In each of these groups the most recently used
  /// scene comes first. Scenes that were not used are in the order of their connection.
  const std::vector<std::shared_ptr<UIScene>>& connectedScenes() const { return _scenes; }
  void connectScene(std::shared_ptr<UIScene> scene);
  void disconnectScene(const std::shared_ptr<UIScene>& scene);
  /// Called by the host when the visibility changes. A scene that was mapped must not become NeverMapped again.
  void setSceneVisibility(UIScene& scene, UISceneVisibility visibility);
  /// Called by the host when the scene's window becomes active or receives a press.
  void sceneWasUsed(UIScene& scene);
  /// Whether the user can see the window. False for a window outside the connected scenes.
  bool isOnScreen(const UIWindow& window) const;
  /// Called after scenes have changed. Replaces an earlier observer.
  void setScenesObserver(std::function<void()> observer) { _scenesObserver = std::move(observer); }
  /// Called when the application returns to the foreground: a scene becomes active after all mapped scenes were hidden
  /// or disconnected. Not called for the first scene. Replaces an earlier observer.
  void setForegroundObserver(std::function<void()> observer) { _foregroundObserver = std::move(observer); }
  /// The first window of the first scene, in any state.
  std::shared_ptr<UIWindow> keyWindow() const;

  CGRect statusBarFrame() const { return _statusBarFrame; }
  void setStatusBarFrame(CGRect frame) { _statusBarFrame = frame; }

  /// The time of the host's animation clock, in seconds; 0 without a host.
  double now() const { return _host ? _host->now() : 0; }
  /// Ends animations that are over by `now` and passes the next deadline to the host.
  void step(double now);
  /// Requests a frame of the window from the host. To be called when the window's tree has changed.
  void windowNeedsFrame(UIWindow& window);
  /// Passes the next deadline to the host. To be called when animations have begun or ended.
  void animationsChanged();

 private:
  void scenesChanged();
  bool hasReturnedToForeground();

  UIHost* _host = nullptr;
  std::vector<std::shared_ptr<UIScene>> _scenes;
  std::uint64_t _uses = 0, _connections = 0;
  std::function<void()> _scenesObserver, _foregroundObserver;
  bool _isInForeground = false, _wasInForeground = false;
  CGRect _statusBarFrame;
};

/// Makes a window whose root controller is a navigation controller with a hidden bar and a transparent root page. Other
/// pages are pushed above the root page later. The root page ignores touches, so that the host's own widgets stay
/// usable.
OQSDK_EXPORT std::shared_ptr<UIWindow> makeHostWindow(CGRect frame);

}  // namespace oq
