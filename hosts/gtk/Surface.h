// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm/widget.h>

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/WindowStage.h"

namespace oq {
class UIScene;
class UIWindow;
}  // namespace oq

namespace oq::gtk {

class Host;
class NativeChildren;
class AccessibilityProxies;
class TitleBarGuard;

/// The transparent widget above the host's widgets that shows one window of the library and passes touches to it. It
/// requests no size, fills its overlay, and takes input only where the library has a view. Its scene is connected while
/// it is realized: destroying the host's window disconnects the scene, replacing the window's child does not. Create it
/// with Gtk::make_managed(); main thread only.
class Surface : public Gtk::Widget {
 public:
  /// `size`: the expected size before the first allocation; empty if unknown.
  Surface(std::shared_ptr<Host> host, CGSize size, double maximumScale);
  ~Surface() override;

  /// Whether the widget is one. Looks at its GTK class: the C++ object of a host's widget may have no type information.
  static bool isSurface(GtkWidget* widget) { return GTK_WIDGET_GET_CLASS(widget)->focus == &moveFocus; }

  const std::shared_ptr<UIWindow>& window() const { return _window; }
  /// The position and scale of the library's window in the widget.
  const Stage& stage() const { return _stage.stage(); }
  /// The contents of the window have changed.
  void treeChanged();
  /// A frame was requested and should come soon.
  bool awaitsFrame() const;
  /// Detects that no frame has come since `since` although one was requested. A Wayland compositor stops frames while a
  /// window is minimized or on another workspace, and reports this in no other way.
  void checkFrames(double since);
  /// The widgets that show views of the window; destroyed before the surface.
  const std::shared_ptr<NativeChildren>& nativeChildren() const { return _nativeChildren; }

 protected:
  Gtk::SizeRequestMode get_request_mode_vfunc() const override { return Gtk::SizeRequestMode::CONSTANT_SIZE; }
  void measure_vfunc(Gtk::Orientation, int, int& minimum, int& natural, int& minimumBaseline,
                     int& naturalBaseline) const override;
  void size_allocate_vfunc(int width, int height, int baseline) override;
  bool contains_vfunc(double x, double y) const override;
  void snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshot) override;

 private:
  static constexpr int pointerTouch = 0;

  // The scene's lifetime.
  void connectScene();
  void disconnectScene();
  void realizationChanged();
  void shown();
  void hidden();
  void updateVisibility();
  void watchToplevel();
  void stopWatchingToplevel();
  bool isMappedUnseen() const;
  void noteFrame();
  void noteUse();
  void layOutAsExpected();
  void layOut(int width, int height);
  void updateStage();
  void updateStageWhenResized();
  void stageChanged();

  // Frames.
  double frameTime();
  void paintStage(GtkSnapshot* snapshot, double time);
  bool tick(const Glib::RefPtr<Gdk::FrameClock>& clock);
  void updateProxiesLater();
  void keepFocusInDialogs();
  static gboolean moveFocus(GtkWidget* widget, GtkDirectionType direction);

  // Input.
  void listen();
  void stopListening();
  static gboolean handleEvent(GtkEventControllerLegacy*, GdkEvent* event, gpointer self);
  bool handle(GdkEvent* event);
  bool handlePointer(GdkEvent* event, CGPoint point);
  bool endPress(CGPoint point);
  bool handleTouch(GdkEvent* event, CGPoint point);
  bool handleScroll(GdkEvent* event, CGPoint point);
  bool handleKey(GdkEvent* event);
  bool goIntoPage(bool forward);
  void rememberPageKey(GdkEvent* event);
  void rememberScroll(GdkEvent* event, double dx, double dy);
  void flingScrolled(GdkEvent* event, CGPoint point);
  bool locate(GdkEvent* event, CGPoint& point);
  bool covers(CGPoint point) const;
  bool isOnTopAt(CGPoint point);
  void pointerSettlesLater();
  void givePointerBack();
  void followPointer();
  void pointerLeft();
  CGPoint inStage(CGPoint point) const { return stage().toStage(point); }
  bool begin(int identifier, CGPoint point);
  void move(int identifier, CGPoint point);
  void end(int identifier, CGPoint point);
  void cancel(int identifier);
  void cancelAllTouches();

  std::shared_ptr<Host> _host;
  std::shared_ptr<UIWindow> _window;
  std::shared_ptr<UIScene> _scene;
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  bool _connected = false;
  WindowStage _stage;
  int _resizes = 0;  ///< size changes since the page was last laid out
  std::unique_ptr<AccessibilityProxies> _proxies;
  std::shared_ptr<NativeChildren> _nativeChildren;
  bool _updatingProxies = false;
  // Connected while the widget is mapped.
  GdkSurface* _toplevel = nullptr;
  GtkWindow* _root = nullptr;
  std::unique_ptr<TitleBarGuard> _titleBarGuard;
  bool _noting = false;       ///< a task that reports the painted frame is queued
  bool _frameWanted = false;  ///< requested, and not yet painted
  double _lastFrame = 0;
  guint _tick = 0;
  GtkEventController* _events = nullptr;
  GdkEvent* _pageKey = nullptr;     ///< the last key event that went to a page
  std::optional<CGPoint> _pointer;  ///< the last known position
  bool _pointerIsOurs = false;      ///< the last position was over a view of the library
  bool _settlingPointer = false;
  const char* _cursor = nullptr;  ///< the name of the current cursor
  std::map<GdkEventSequence*, int> _fingers;
  std::map<int, bool> _touches;  ///< running touches; true: a view has it, false: it is only kept from the host
  int _nextFinger = pointerTouch + 1;
  struct Scrolled {
    double time, dx, dy;  ///< seconds; points
  };
  std::vector<Scrolled> _scrolled;  ///< the recent scrolling of a touchpad
};

}  // namespace oq::gtk
