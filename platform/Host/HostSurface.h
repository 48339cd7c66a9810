// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/WindowStage.h"
#include "oqsdk/Export.h"
#include "oqsdk/KeyboardKey.h"

namespace oq {

class Painter;
class SurfaceHost;
class UIScene;
class UIWindow;

/// The layer with the library's views in one window of the application. A host makes one for each window, reports what
/// happens to the window, passes its input on, and paints when asked. Places and lengths are in points of the host's
/// window. Main thread only.
///
/// Every input function answers at once whether the event is the library's. If it is, the host's own widgets must not
/// get it.
class OQSDK_EXPORT HostSurface {
 public:
  /// What a toolkit implements. The client must outlive its surface.
  class Client {
   public:
    /// paint() is wanted soon.
    virtual void frameWanted() = 0;
    /// The views have changed; called once for all changes in one run of the main queue.
    virtual void viewsChanged() {}
    /// The stage has changed outside setSize() and setPixelsPerPoint().
    virtual void stageChanged() {}

   protected:
    ~Client() = default;
  };

  /// `size`: of the window, empty while unknown. `maximumScale`: of the stage; without it there is no stage, and the
  /// views fill the window. The constructor calls no function of the client.
  HostSurface(SurfaceHost& host, Client& client, CGSize size, double pixelsPerPoint,
              std::optional<double> maximumScale);
  ~HostSurface();
  HostSurface(const HostSurface&) = delete;
  HostSurface& operator=(const HostSurface&) = delete;

  Client& client() const { return _client; }
  const std::shared_ptr<UIWindow>& window() const { return _window; }
  /// The position and scale of the library's window in the host's.
  const Stage& stage() const { return _stage.stage(); }
  CGPoint inStage(CGPoint point) const { return stage().toStage(point); }

  // The window.
  /// The window exists; messages can be shown in it.
  void connect();
  void disconnect();
  void setSize(CGSize size);
  /// False until the window has had a size.
  bool isPlaced() const { return _stage.isPlaced(); }
  /// Resizing has ended. Otherwise it counts as ended when the size has not changed for 0.2 s.
  void endResizing();
  void setPixelsPerPoint(double pixels);
  /// Whether the window is mapped and not minimised. Only after its next frame can the user see it, unless
  /// `needsFrame` is false.
  void setVisible(bool isVisible, bool needsFrame = true);
  /// The user turned to the window: it became active, or was pressed.
  void noteUse();

  // Frames.
  /// The painter's units are points of the stage, from the corner of the window. `time` is the host's.
  void paint(Painter& painter, double time);
  /// Whether the host paints frame after frame now, as it should while animations run.
  void setPaintsContinuously(bool does) { _paintsContinuously = does; }
  /// Calls viewsChanged() later, as if a view had changed.
  void changeLater();

  // Input.
  /// Whether a touch there is the library's. Also outside the stage, where views may fill the surrounding area.
  bool covers(CGPoint point) const;
  /// `identifier` distinguishes fingers. False if the touch is not the library's.
  bool touchBegan(int identifier, CGPoint point);
  bool touchMoved(int identifier, CGPoint point);
  bool touchEnded(int identifier, CGPoint point);
  bool touchCancelled(int identifier);
  void cancelAllTouches();
  bool hasTouch(int identifier) const { return _touches.contains(identifier); }
  bool hasTouches() const { return !_touches.empty(); }
  /// A wheel, or a touchpad whose fingers will not be reported.
  bool scroll(CGPoint point, double dx, double dy);
  /// A touchpad; `time` in seconds.
  bool scrollByTouchpad(CGPoint point, double dx, double dy, double time);
  /// The fingers have left the touchpad: continues the scrolling with deceleration.
  bool touchpadReleased(CGPoint point, double time);
  bool hasDialog() const;
  /// While a dialog is shown, all keys are the library's.
  bool press(KeyboardKey key);

 private:
  friend class SurfaceHost;
  void treeChanged();
  /// A frame was requested and should come soon.
  bool awaitsFrame() const;
  /// Detects that no frame has come since `since` although one was requested. A Wayland compositor stops frames while a
  /// window is minimised or on another workspace, and reports this in no other way.
  void checkFrames(double since);
  void noteFrame();
  bool isMappedUnseen() const;
  void updateStage();
  void updateStageWhenResized();
  void rescale();

  SurfaceHost& _host;
  Client& _client;
  std::shared_ptr<UIWindow> _window;
  const std::shared_ptr<UIScene> _scene;
  const std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  const bool _hasStage;
  WindowStage _stage;
  double _pixelsPerPoint;
  bool _isConnected = false;
  int _resizes = 0;  ///< size changes since the page was last laid out
  bool _isChanging = false;
  bool _isNoting = false;     ///< a block that reports the painted frame is queued
  bool _frameWanted = false;  ///< requested, and not yet painted
  bool _paintsContinuously = false;
  double _lastFrame = 0;
  std::map<int, bool> _touches;  ///< running touches; true: a view has it, false: it is only kept from the host
  struct Scrolled {
    double time, dx, dy;
  };
  std::vector<Scrolled> _scrolled;  ///< the recent scrolling of a touchpad
};

}  // namespace oq
