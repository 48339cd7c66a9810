// SPDX-License-Identifier: Apache-2.0
#include "Surface.h"

#include <gtkmm/snapshot.h>

#include <algorithm>

#include "AccessibilityProxies.h"
#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/GLibReference.h"
#include "Host.h"
#include "NativeChildren.h"
#include "SnapshotPainter.h"
#include "TitleBarGuard.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::gtk {

Surface::Surface(std::shared_ptr<Host> host, CGSize size, double maximumScale)
    : Glib::ObjectBase("OQSurface"),
      _host(std::move(host)),
      _surface(*_host, *this, size, get_scale_factor(), maximumScale),
      _window(_surface.window()) {
  set_name("oqsdk-surface");
  set_focusable(false);
  keepFocusInDialogs();
  _nativeChildren = std::make_shared<NativeChildren>(GTK_WIDGET(gobj()));
  _proxies = std::make_unique<AccessibilityProxies>(GTK_WIDGET(gobj()), _surface, *_nativeChildren);
  _surface.connect();

  property_parent().signal_changed().connect(sigc::mem_fun(*this, &Surface::listen));
  GtkEventController* motion = gtk_event_controller_motion_new();
  auto left = +[](GtkEventControllerMotion*, gpointer self) { static_cast<Surface*>(self)->pointerLeft(); };
  g_signal_connect(motion, "leave", G_CALLBACK(left), this);
  gtk_widget_add_controller(GTK_WIDGET(gobj()), motion);
  signal_map().connect(sigc::mem_fun(*this, &Surface::shown));
  signal_unmap().connect(sigc::mem_fun(*this, &Surface::hidden));
  signal_destroy().connect([this] {
    _proxies->clear();
    _nativeChildren->clear();
  });
  signal_realize().connect(sigc::mem_fun(*this, &Surface::realizationChanged));
  signal_unrealize().connect(sigc::mem_fun(*this, &Surface::realizationChanged));
  property_scale_factor().signal_changed().connect([this] { setSize(get_width(), get_height()); });
}

Surface::~Surface() {
  stopListening();
  stopWatchingToplevel();
  _surface.disconnect();
  _surface.cancelAllTouches();
  rememberPageKey(nullptr);
  _proxies.reset();
  _nativeChildren.reset();
}

void Surface::realizationChanged() {
  // Checked later on the main queue: a surface that moves to another parent is unrealized temporarily.
  DispatchQueue::main().async([this, alive = std::weak_ptr<bool>(_alive)] {
    if (alive.expired()) return;
    if (get_realized()) {
      _surface.connect();
    } else {
      _surface.disconnect();
    }
  });
}

void Surface::shown() {
  watchToplevel();
  // GTK maps a window before it lays out the window, and in between the host may record an event that shows a message.
  // The message needs a size, so the expected one is used until the layout.
  if (!_surface.isPlaced()) layOutAsExpected();
  updateVisibility();
  noteUse();
  _surface.changeLater();
}

void Surface::hidden() {
  stopWatchingToplevel();
  _surface.setVisible(false);
  _surface.cancelAllTouches();
}

void Surface::watchToplevel() {
  stopWatchingToplevel();
  GtkNative* native = gtk_widget_get_native(gobj());
  GdkSurface* toplevel = native ? gtk_native_get_surface(native) : nullptr;
  if (!toplevel || !GDK_IS_TOPLEVEL(toplevel)) return;
  _toplevel = GDK_SURFACE(g_object_ref(toplevel));
  auto changed = +[](GObject*, GParamSpec*, gpointer self) { static_cast<Surface*>(self)->updateVisibility(); };
  g_signal_connect(_toplevel, "notify::state", G_CALLBACK(changed), this);
  if (!GTK_IS_WINDOW(native)) return;
  _root = GTK_WINDOW(g_object_ref(native));
  auto activated = +[](GObject*, GParamSpec*, gpointer self) { static_cast<Surface*>(self)->noteUse(); };
  g_signal_connect(_root, "notify::is-active", G_CALLBACK(activated), this);
  // The host may focus a widget that a dialog covers. Then viewsChanged() moves the focus back into the dialog.
  auto focused = +[](GObject*, GParamSpec*, gpointer self) {
    auto* surface = static_cast<Surface*>(self);
    if (surface->_proxies->hasDialog()) surface->_surface.changeLater();
  };
  g_signal_connect(_root, "notify::focus-widget", G_CALLBACK(focused), this);
  _titleBarGuard = std::make_unique<TitleBarGuard>(_root, [this] { return _surface.hasDialog(); });
}

void Surface::stopWatchingToplevel() {
  _titleBarGuard.reset();
  if (_toplevel) g_signal_handlers_disconnect_by_data(_toplevel, this);
  if (_root) g_signal_handlers_disconnect_by_data(_root, this);
  g_clear_object(&_toplevel);
  g_clear_object(&_root);
}

void Surface::updateVisibility() {
  const bool isMinimised =
      _toplevel && (gdk_toplevel_get_state(GDK_TOPLEVEL(_toplevel)) & GDK_TOPLEVEL_STATE_MINIMIZED);
  _surface.setVisible(!isMinimised);
}

/// Reports that the user uses the window, if it is active. A window that loses the focus stays the most recently used
/// one.
void Surface::noteUse() {
  if (_root && gtk_window_is_active(_root)) _surface.noteUse();
}

void Surface::measure_vfunc(Gtk::Orientation, int, int& minimum, int& natural, int& minimumBaseline,
                            int& naturalBaseline) const {
  minimum = natural = 0;
  minimumBaseline = naturalBaseline = -1;
}

void Surface::size_allocate_vfunc(int width, int height, int) {
  setSize(width, height);
  _nativeChildren->allocate(stage());
  _proxies->allocate();
}

void Surface::setSize(int width, int height) {
  _surface.setSize({static_cast<double>(width), static_cast<double>(height)}, get_scale_factor());
}

/// Lays out the stage with the window's size, or with the size that GTK will give a window that has none yet.
void Surface::layOutAsExpected() {
  auto* window = GTK_WIDGET(gtk_widget_get_root(gobj()));
  if (!GTK_IS_WINDOW(window)) return;
  int width = gtk_widget_get_width(window), height = gtk_widget_get_height(window);
  if (width <= 0 || height <= 0) gtk_window_get_default_size(GTK_WINDOW(window), &width, &height);
  auto length = [window](GtkOrientation orientation, int wanted, int across) {
    int minimum = 0, natural = 0;
    gtk_widget_measure(window, orientation, across, &minimum, &natural, nullptr, nullptr);
    return std::max(minimum, wanted > 0 ? wanted : natural);
  };
  width = length(GTK_ORIENTATION_HORIZONTAL, width, -1);
  height = length(GTK_ORIENTATION_VERTICAL, height, width);
  setSize(width, height);
}

void Surface::dialogChanged(bool isShown) {
  _proxies->dialogChanged(isShown);
}

HostFocus Surface::hostFocus() {
  return _proxies->hostFocus();
}

void Surface::restoreFocus(const HostFocus& focus) {
  // When the focus moves, the host may destroy its window and with it this surface.
  const ObjectRef<GtkWidget> kept(GTK_WIDGET(g_object_ref(gobj())));
  _proxies->restoreFocus(focus);
}

void Surface::viewsChanged() {
  // When the focus moves, the host may destroy its window and with it this surface.
  const ObjectRef<GtkWidget> kept(GTK_WIDGET(g_object_ref(gobj())));
  settlePointer();
  if (_nativeChildren->areOutdated(stage())) queue_allocate();
  if (get_mapped()) _proxies->update();
  if (_titleBarGuard) _titleBarGuard->update();
}

/// Replaces `focus` in the GTK class, because gtkmm has no virtual function for it. This affects no other widgets,
/// because only surfaces have this GTK class.
void Surface::keepFocusInDialogs() {
  GtkWidgetClass* surfaces = GTK_WIDGET_GET_CLASS(gobj());
  surfaces->focus = moveFocus;
}

/// Keeps the keyboard focus inside a dialog, even when the focus leaves a web page in the dialog.
gboolean Surface::moveFocus(GtkWidget* widget, GtkDirectionType direction) {
  auto* surface = dynamic_cast<Surface*>(Glib::wrap(widget));
  if (surface && surface->_proxies->hasDialog()) return surface->_proxies->takeFocus(direction != GTK_DIR_TAB_BACKWARD);
  return GTK_WIDGET_CLASS(g_type_class_peek(GTK_TYPE_WIDGET))->focus(widget, direction);
}

double Surface::frameTime() {
  GdkFrameClock* clock = gtk_widget_get_frame_clock(gobj());
  gint64 time = clock ? gdk_frame_clock_get_frame_time(clock) : 0;
  return time > 0 ? static_cast<double>(time) / G_USEC_PER_SEC : _host->now();
}

void Surface::snapshot_vfunc(const Glib::RefPtr<Gtk::Snapshot>& snapshot) {
  paintStage(snapshot->gobj(), frameTime());
  // This frame shows the start of the animation. From now on, the tick callback requests each further frame.
  if (_tick != 0 || !AnimationEngine::shared().isRunning()) return;
  _tick = add_tick_callback(sigc::mem_fun(*this, &Surface::tick));
  _surface.setPaintsContinuously(true);
}

void Surface::paintStage(GtkSnapshot* snapshot, double time) {
  const CGSize size{static_cast<double>(get_width()), static_cast<double>(get_height())};
  const auto scale = static_cast<float>(stage().scale);
  gtk_snapshot_save(snapshot);
  gtk_snapshot_scale(snapshot, scale, scale);
  SnapshotPainter painter(snapshot, get_scale_factor() * stage().scale, {{}, stage().windowInStage(size).size});
  painter.setNativeChildren(_nativeChildren.get());
  _surface.paint(painter, time);
  gtk_snapshot_restore(snapshot);
}

bool Surface::tick(const Glib::RefPtr<Gdk::FrameClock>&) {
  // Requests a frame for each animated window. If the animation ends now, that frame shows the final position.
  UIApplication::sharedApplication().step(frameTime());
  if (AnimationEngine::shared().isRunning()) return true;
  _tick = 0;
  _surface.setPaintsContinuously(false);
  return false;
}

}  // namespace oq::gtk
