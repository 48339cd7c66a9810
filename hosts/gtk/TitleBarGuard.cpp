// SPDX-License-Identifier: Apache-2.0
#include "TitleBarGuard.h"

#include <utility>

namespace oq::gtk {

namespace {

constexpr const char* kDimmedClass = "oqsdk-dimmed";
// As dark as the background of a message. GTK shows no transition if the user has disabled animations.
constexpr const char* kStyle = ".oqsdk-dimmed { filter: brightness(70%); transition: filter 200ms; }";

void addStyle(GdkDisplay* display) {
  constexpr const char* added = "oqsdk-title-bar-style";
  if (g_object_get_data(G_OBJECT(display), added)) return;
  GtkCssProvider* provider = gtk_css_provider_new();
  gtk_css_provider_load_from_data(provider, kStyle, -1);
  gtk_style_context_add_provider_for_display(display, GTK_STYLE_PROVIDER(provider),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_set_data_full(G_OBJECT(display), added, provider, g_object_unref);
}

bool hasGesture(GtkWidget* widget) {
  GListModel* controllers = gtk_widget_observe_controllers(widget);
  bool found = false;
  for (guint i = 0; !found && i < g_list_model_get_n_items(controllers); ++i) {
    gpointer controller = g_list_model_get_item(controllers, i);
    found = GTK_IS_GESTURE(controller);
    g_object_unref(controller);
  }
  g_object_unref(controllers);
  return found;
}

/// Whether the widget, or one around it in the title bar, is a control of the host. Labels and boxes are not: a press
/// on them moves the window. The window's own buttons do not count, because they must work while a dialog is shown.
bool takesPresses(GtkWidget* widget, GtkWidget* titleBar) {
  for (; widget && widget != titleBar; widget = gtk_widget_get_parent(widget)) {
    if (GTK_IS_WINDOW_HANDLE(widget)) return false;
    if (gtk_widget_get_focusable(widget) || hasGesture(widget))
      return !gtk_widget_get_ancestor(widget, GTK_TYPE_WINDOW_CONTROLS);
  }
  return false;
}

}  // namespace

TitleBarGuard::TitleBarGuard(GtkWindow* window, std::function<bool()> hasDialog)
    : _window(window), _hasDialog(std::move(hasDialog)), _events(gtk_event_controller_legacy_new()) {
  g_object_ref(_events);
  gtk_event_controller_set_propagation_phase(_events, GTK_PHASE_CAPTURE);
  g_signal_connect(_events, "event", G_CALLBACK(handleEvent), this);
  gtk_widget_add_controller(GTK_WIDGET(_window), _events);
}

TitleBarGuard::~TitleBarGuard() {
  setDimmed(nullptr);
  g_signal_handlers_disconnect_by_data(_events, this);
  if (GtkWidget* window = gtk_event_controller_get_widget(_events)) gtk_widget_remove_controller(window, _events);
  g_object_unref(_events);
}

void TitleBarGuard::update() {
  setDimmed(_hasDialog() ? gtk_window_get_titlebar(_window) : nullptr);
}

/// Dims this title bar and no other; nullptr: none. The host may have replaced or destroyed the bar that was dimmed.
void TitleBarGuard::setDimmed(GtkWidget* titleBar) {
  if (_dimmed && _dimmed != titleBar) gtk_widget_remove_css_class(_dimmed, kDimmedClass);
  g_set_weak_pointer(&_dimmed, titleBar);
  if (!titleBar) return;
  addStyle(gtk_widget_get_display(titleBar));
  // Added each time: another surface of the window may have removed it.
  gtk_widget_add_css_class(titleBar, kDimmedClass);
}

gboolean TitleBarGuard::handleEvent(GtkEventControllerLegacy*, GdkEvent* event, gpointer self) {
  return static_cast<TitleBarGuard*>(self)->isHeldBack(event);
}

/// Blocks only scrolling and the beginning of presses. Without its beginning a press never becomes a click, so the
/// events that follow it may pass.
bool TitleBarGuard::isHeldBack(GdkEvent* event) {
  // An open menu has its own GDK surface; its events pass.
  if (gdk_event_get_surface(event) != gtk_native_get_surface(GTK_NATIVE(_window))) return false;
  // A scroll event has no position: then the last known one stays.
  gdk_event_get_position(event, &_x, &_y);
  const GdkEventType type = gdk_event_get_event_type(event);
  if (type != GDK_BUTTON_PRESS && type != GDK_TOUCH_BEGIN && type != GDK_SCROLL) return false;
  GtkWidget* titleBar = gtk_window_get_titlebar(_window);
  if (!titleBar) return false;
  double left = 0, top = 0;
  gtk_native_get_surface_transform(GTK_NATIVE(_window), &left, &top);
  GtkWidget* widget = gtk_widget_pick(GTK_WIDGET(_window), _x - left, _y - top, GTK_PICK_DEFAULT);
  if (!widget || !gtk_widget_is_ancestor(widget, titleBar)) return false;
  return takesPresses(widget, titleBar) && _hasDialog();
}

}  // namespace oq::gtk
