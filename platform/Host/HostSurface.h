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
  /// dialogChanged() to viewsChanged() are called, once for all changes in one run of the main queue: first those about
  /// dialogs and the focus, then elementsChanged(), then viewsChanged(). The functions without a result, except
  /// frameWanted(), may destroy the surface.
  class Client {
   public:
    /// The host should call paint() soon.
    virtual void frameWanted() = 0;
    /// True: a dialog has opened, so the host should take the keyboard focus and pass keys to press(). False: the last
    /// dialog has closed; called after restoreFocus().
    virtual void dialogChanged(bool /*isShown*/) {}
    /// Returns the widget of the host that has the keyboard focus; a widget that shows a web page of the library counts
    /// as such a widget. nullptr if no widget has the focus, or if the library's layer has it.
    virtual HostFocus hostFocus() { return nullptr; }
    /// Gives the focus back to a widget that hostFocus() returned before a dialog. Should have no effect if another
    /// widget has got the focus in the meantime.
    virtual void restoreFocus(const HostFocus&) {}
    /// Whether the host supports assistive technology. If not, the surface makes no accessible tree: elementsChanged()
    /// is not called, and accessibleTree() is empty.
    virtual bool wantsElements() const { return false; }
    /// Assistive technology must be informed of this tree.
    virtual void elementsChanged(const AccessibleTree&) {}
    /// The views have changed. If isEmpty(), the host can now hide the layer: the keyboard focus has already been given
    /// back to the host's widgets.
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
  /// To be called when the window exists. From now on messages can be shown in it.
  void connect();
  void disconnect();
  /// Sets the window's size in points, and the number of pixels per point.
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
  /// Reports that the host has focused one of its own widgets although a dialog covers the widget. This widget gets the
  /// focus again when all dialogs have closed.
  void noteHostFocus(HostFocus focus);

  // Frames.
  /// Paints into memory what has changed since the last call. `time` is a time of SurfaceHost::now().
  PaintedFrame paint(const PixelBuffer& buffer, double time);
  /// The size of a buffer for the whole window, in pixels; at least 1, and at most PixelBuffer::largestSide.
  PixelRect pixelSize() const;
  /// Paints the whole frame. The painter's origin is the upper left corner of the window, and its units are points of
  /// the stage.
  void paint(Painter& painter, double time);
  /// Whether there is nothing to show, now or soon, so that the host can hide its layer. False while a frame is needed
  /// to know that the window is on screen.
  bool isEmpty() const;
  /// Whether a view in this window is animated. If so, the host should paint every frame of its display.
  bool isAnimating() const;
  /// Reports whether the host now paints every frame, which it should do while animations run.
  void setPaintsContinuously(bool does) { _paintsContinuously = does; }
  /// Calls viewsChanged() later, as if a view had changed.
  void changeLater();

  // Input.
  /// Whether the library consumes a touch at this point. The point may be outside the stage: a message, an alert or a
  /// page also consumes touches there.
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
  /// widget of the host. Returns whether a press there has an effect; if so, the pointer should be a hand. Call this
  /// function also in viewsChanged(), because the views under a resting pointer may have changed.
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
  /// The tree with the views as they are now. Its lists of changes are empty.
  AccessibleTree currentAccessibleTree() { return _elements.treeOf(_window, stage()); }
  /// Focuses the element and presses it. False if that has no effect: the element does not exist any more, takes no
  /// input, is disabled, or is covered by a dialog.
  bool activate(std::uint64_t element);
  /// With true, focuses the element if it can be pressed. With false, the element loses the keyboard focus if it has
  /// it.
  void setElementFocused(std::uint64_t element, bool isFocused);
  std::shared_ptr<UIView> viewOf(std::uint64_t element) const { return _elements.viewOf(element); }

 private:
  friend class SurfaceHost;
  void treeChanged();
  /// Whether a frame was requested or animations run, and the window is on screen, but no frame has come since `since`.
  bool awaitsFrame(double since) const;
  /// If awaitsFrame(), notes that the system holds back the window's frames. A Wayland compositor stops frames while a
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
  int _resizes = 0;  ///< size changes of the resizing that has not ended; 0 if there is none
  bool _isChanging = false;
  bool _isNoting = false;     ///< a block that reports the painted frame is queued
  bool _frameWanted = false;  ///< requested, and not yet painted
  bool _paintsContinuously = false;
  double _lastFrame = 0;
  struct Touch {
    int number;    ///< identifies the touch for the UIWindow
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
  bool _hasDialog = false;           ///< whether the last update found a dialog, which may be destroyed by now
  bool _isFocused = true;            ///< the window has the keyboard focus
  std::weak_ptr<UIView> _unfocused;  ///< if not _isFocused: the view to focus when the window gets the focus
};

}  // namespace oq
