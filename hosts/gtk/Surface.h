// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtkmm/widget.h>

#include <memory>
#include <optional>
#include <vector>

#include "CoreGraphics/Geometry.h"
#include "Host/HostSurface.h"

namespace oq {
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
class Surface : public Gtk::Widget, public HostSurface::Client {
 public:
  /// `size`: the expected size before the first allocation; empty if unknown.
  Surface(std::shared_ptr<Host> host, CGSize size, double maximumScale);
  ~Surface() override;

  /// Whether the widget is a surface. Only the GTK class of surfaces contains moveFocus(). A dynamic_cast is no
  /// alternative, because the C++ object of a host's widget may be compiled without type information.
  static bool isSurface(GtkWidget* widget) { return GTK_WIDGET_GET_CLASS(widget)->focus == &moveFocus; }

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
  static constexpr std::int64_t pointerTouch = 0;  ///< no finger has this number

  // The scene's lifetime.
  void realizationChanged();
  void shown();
  void hidden();
  void updateVisibility();
  void watchToplevel();
  void stopWatchingToplevel();
  void noteUse();
  void setSize(int width, int height);
  void layOutAsExpected();

  // Frames.
  void frameWanted() override { queue_draw(); }
  bool wantsElements() const override { return true; }
  void dialogChanged(bool isShown) override;
  HostFocus hostFocus() override;
  void restoreFocus(const HostFocus& focus) override;
  void viewsChanged() override;
  void stageChanged() override { queue_allocate(); }
  double frameTime();
  void paintStage(GtkSnapshot* snapshot, double time);
  bool tick(const Glib::RefPtr<Gdk::FrameClock>& clock);
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
  bool locate(GdkEvent* event, CGPoint& point);
  bool isOnTopAt(CGPoint point);
  void settlePointer();
  void givePointerBack();
  void followPointer();
  void pointerLeft();
  bool begin(std::int64_t identifier, CGPoint point);
  const Stage& stage() const { return _surface.stage(); }

  std::shared_ptr<Host> _host;
  HostSurface _surface;
  const std::shared_ptr<UIWindow> _window;
  std::shared_ptr<bool> _alive = std::make_shared<bool>(true);
  std::unique_ptr<AccessibilityProxies> _proxies;
  std::shared_ptr<NativeChildren> _nativeChildren;
  // Set while the widget is mapped.
  GdkSurface* _toplevel = nullptr;
  GtkWindow* _root = nullptr;
  std::unique_ptr<TitleBarGuard> _titleBarGuard;
  guint _tick = 0;
  GtkEventController* _events = nullptr;
  GdkEvent* _pageKey = nullptr;     ///< the last key event that went to a page
  std::optional<CGPoint> _pointer;  ///< the pointer's last known position
  bool _pointerIsOurs = false;      ///< the last position was over a view of the library
  const char* _cursor = nullptr;    ///< the name of the current cursor
};

}  // namespace oq::gtk
