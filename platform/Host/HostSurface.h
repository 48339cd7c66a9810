// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/AccessibleTree.h"
#include "Host/FocusMemory.h"
#include "Host/PixelFrames.h"
#include "Host/WindowStage.h"
#include "oqsdk/Export.h"
#include "oqsdk/KeyboardKey.h"

namespace oq {

class Painter;
class SurfaceHost;
class UIScene;
class UIWindow;

/// The layer with the library's views in one window of the application. A host creates one surface for each window. It
/// reports changes of the window to the surface, passes input to it and calls paint() for each frame. Positions and
/// lengths are in points of the host's window. Main thread only.
///
/// Every input function returns whether the library consumed the event. If so, the host's own widgets must not get the
/// event.
class OQSDK_EXPORT HostSurface {
 public:
  /// What a toolkit implements. The client must outlive its surface. After changes of the views, the functions from
  /// dialogChanged() to viewsChanged() are called in this order, once for all changes in one run of the main queue. Any
  /// of these may destroy the surface.
  class Client {
   public:
    /// The host should call paint() soon.
    virtual void frameWanted() = 0;
    /// True: a dialog has opened, so the host should take the keyboard focus and pass keys to press(). False: the last
    /// dialog has closed; called after restoreFocus().
    virtual void dialogChanged(bool /*isShown*/) {}
    /// The widget that has the keyboard focus: one of the host, also one that shows a page of the library; nullptr if
    /// there is none, or if the library's layer has the focus.
    virtual HostFocus hostFocus() { return nullptr; }
    /// Gives the focus back to a widget that hostFocus() returned before a dialog. Should have no effect if another
    /// widget has got the focus in the meantime.
    virtual void restoreFocus(const HostFocus&) {}
    /// Whether the host supports assistive technology. If not, the tree is not made, elementsChanged() is not called,
    /// and accessibleTree() is empty.
    virtual bool wantsElements() const { return false; }
    /// Assistive technology must be informed of this tree.
    virtual void elementsChanged(const AccessibleTree&) {}
    /// The views have changed. The place to hide the layer if isEmpty(), because the focus has been given back before.
    virtual void viewsChanged() {}
    /// The stage has changed outside setSize().
    virtual void stageChanged() {}

   protected:
    ~Client() = default;
  };

  /// `size` is the size of the window; empty while it is unknown. `maximumScale` is the maximum scale of the stage.
  /// With nullopt there is no stage, and the views fill the window. The constructor calls no function of the client.
  HostSurface(SurfaceHost& host, Client& client, CGSize size, double pixelsPerPoint,
              std::optional<double> maximumScale);
  ~HostSurface();
  HostSurface(const HostSurface&) = delete;
  HostSurface& operator=(const HostSurface&) = delete;

  Client& client() const { return _client; }
  const std::shared_ptr<UIWindow>& window() const { return _window; }
  /// The position and scale of the library's window in the host's window.
  const Stage& stage() const { return _stage.stage(); }
  CGPoint inStage(CGPoint point) const { return stage().toStage(point); }

  // The window.
  /// The window exists; messages can be shown in it.
  void connect();
  void disconnect();
  /// The window's size, and the pixels of one of its points.
  void setSize(CGSize size, double pixelsPerPoint);
  /// False until the window has had a size.
  bool isPlaced() const { return _stage.isPlaced(); }
  /// To be called if the host knows that resizing has ended. Otherwise resizing counts as ended when the size has not
  /// changed for 0.2 s.
  void endResizing();
  /// Reports whether the window is mapped and not minimised. If it is, it counts as on screen after its next frame, or
  /// immediately if `needsFrame` is false.
  void setVisible(bool isVisible, bool needsFrame = true);
  /// Reports that the user has used the window: it became active, or was pressed.
  void noteUse();
  /// Reports that the window has got or lost the keyboard focus. Without it no view is marked as focused. Getting it
  /// counts as use.
  void setFocused(bool isFocused);
  /// Reports that the host has focused a widget of its own although a dialog covers it. That widget gets the focus back
  /// when the dialogs have closed.
  void noteHostFocus(HostFocus focus);

  // Frames.
  /// Paints into memory what has changed since the last call. `time` is on the host's clock.
  PaintedFrame paint(const PixelBuffer& buffer, double time);
  /// The size of a buffer for the whole window, in pixels; at least 1, and at most PixelBuffer::largestSide.
  PixelRect pixelSize() const;
  /// The painter's origin is the corner of the window, and its units are points of the stage.
  void paint(Painter& painter, double time);
  /// Whether there is nothing to show, now or soon, so that the host can hide its layer. False while a frame is needed
  /// to know that the window is on screen.
  bool isEmpty() const;
  /// Whether a view in this window is animated. Then the host should paint each frame of its display.
  bool isAnimating() const;
  /// Reports whether the host now paints every frame, which it should do while animations run.
  void setPaintsContinuously(bool does) { _paintsContinuously = does; }
  /// Calls viewsChanged() later, as if a view had changed.
  void changeLater();

  // Input.
  /// Whether the library consumes a touch at this point. The point may be outside the stage, because views may fill the
  /// surrounding area.
  bool covers(CGPoint point) const;
  /// `identifier` distinguishes fingers; it is any number of the host. Returns false if the library does not consume
  /// the touch.
  bool touchBegan(std::int64_t identifier, CGPoint point);
  bool touchMoved(std::int64_t identifier, CGPoint point);
  bool touchEnded(std::int64_t identifier, CGPoint point);
  bool touchCancelled(std::int64_t identifier);
  void cancelAllTouches();
  bool hasTouch(std::int64_t identifier) const { return _touches.contains(identifier); }
  bool hasTouches() const { return !_touches.empty(); }
  /// The pointer has moved to the point with no button pressed, or, with nullopt, it has left the window or is over a
  /// widget of the host. Returns whether a press there has an effect; then the pointer should be a hand. Call it also
  /// in viewsChanged(), because the views under a resting pointer may have changed.
  bool pointerMoved(std::optional<CGPoint> point);
  /// Scrolls by a wheel, or by a touchpad that does not report when the fingers leave it.
  bool scroll(CGPoint point, double dx, double dy);
  /// Scrolls by a touchpad that reports when the fingers leave it; `time` in seconds.
  bool scrollByTouchpad(CGPoint point, double dx, double dy, double time);
  /// The fingers have left the touchpad: continues the scrolling with deceleration.
  bool touchpadReleased(CGPoint point, double time);
  bool hasDialog() const;
  /// While a dialog is shown, the library consumes all keys.
  bool press(KeyboardKey key);

  // Assistive technology.
  /// The tree that elementsChanged() got last.
  const AccessibleTree& accessibleTree() const { return _elements.tree(); }
  /// The tree with the views as they are now, without its changes.
  AccessibleTree currentAccessibleTree() { return _elements.treeOf(_window, stage()); }
  /// Focuses the element and presses it. False if that has no effect: the element does not exist any more, takes no
  /// input, is disabled, or is covered by a dialog.
  bool activate(std::uint64_t element);
  /// Moves the keyboard focus of the window to the element, if it can be pressed, or removes it from the element.
  void setElementFocused(std::uint64_t element, bool isFocused);
  std::shared_ptr<UIView> viewOf(std::uint64_t element) const { return _elements.viewOf(element); }

 private:
  friend class SurfaceHost;
  void treeChanged();
  /// A frame was requested, should come soon, and has not come since `since`.
  bool awaitsFrame(double since) const;
  /// Detects that no frame has come since `since` although one was requested. A Wayland compositor stops frames while a
  /// window is minimised or on another workspace, and reports this in no other way.
  void checkFrames(double since);
  void noteFrame();
  bool isMappedUnseen() const;
  void updateStage();
  void updateStageWhenResized();
  void rescale();
  void forgetScrollingBefore(double time);
  void reportChanges();
  void updateDialog();
  std::shared_ptr<UIView> pressable(std::uint64_t element) const;
  bool isReachable(const std::shared_ptr<UIView>& view) const;
  void focus(const std::shared_ptr<UIView>& view);

  SurfaceHost& _host;
  Client& _client;
  std::shared_ptr<UIWindow> _window;
  const std::shared_ptr<UIScene> _scene;
  const std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  WindowStage _stage;
  double _pixelsPerPoint;
  bool _isConnected = false;
  int _resizes = 0;  ///< size changes since the page was last laid out
  bool _isChanging = false;
  bool _isNoting = false;     ///< a block that reports the painted frame is queued
  bool _frameWanted = false;  ///< requested, and not yet painted
  bool _paintsContinuously = false;
  double _lastFrame = 0;
  struct Touch {
    int number;    ///< for the window
    bool isTaken;  ///< a view has the touch; otherwise it is only kept from the host
  };
  std::map<std::int64_t, Touch> _touches;  ///< the running touches
  int _lastTouch = 0;
  struct Scrolled {
    double time, dx, dy;
  };
  std::vector<Scrolled> _scrolled;  ///< the recent scrolling of a touchpad
  PixelFrames _frames;
  AccessibleElements _elements;
  FocusMemory _focusMemory;
  std::weak_ptr<UIView> _dialog;     ///< the front-most dialog of the last update
  bool _hasDialog = false;           ///< there was one
  bool _isFocused = true;            ///< the window has the keyboard focus
  std::weak_ptr<UIView> _unfocused;  ///< while it has not: the view to focus when it gets it
};

}  // namespace oq
