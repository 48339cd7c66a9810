// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "AccessibilityProxies.h"
#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Format.h"
#include "Host.h"
#include "NativeChildren.h"
#include "Surface.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::gtk {

namespace {

/// Points scrolled by one notch of a wheel.
constexpr double kWheelNotch = 60;

std::optional<UIKeyboardKey> keyFor(guint value, GdkModifierType modifiers) {
  const bool isLeft = value == GDK_KEY_Left || value == GDK_KEY_KP_Left;
  if (isLeft && modifiers == GDK_ALT_MASK) return UIKeyboardKey::Back;
  if (modifiers) return std::nullopt;
  switch (value) {
    case GDK_KEY_Back:
      return UIKeyboardKey::Back;
    case GDK_KEY_Tab:
    case GDK_KEY_KP_Tab:
      return UIKeyboardKey::Tab;
    case GDK_KEY_ISO_Left_Tab:
      return UIKeyboardKey::BackTab;
    case GDK_KEY_Return:
    case GDK_KEY_KP_Enter:
    case GDK_KEY_ISO_Enter:
    case GDK_KEY_space:
    case GDK_KEY_KP_Space:
      return UIKeyboardKey::Return;
    case GDK_KEY_Escape:
      return UIKeyboardKey::Escape;
    case GDK_KEY_Up:
    case GDK_KEY_KP_Up:
      return UIKeyboardKey::Up;
    case GDK_KEY_Down:
    case GDK_KEY_KP_Down:
      return UIKeyboardKey::Down;
    case GDK_KEY_Page_Up:
    case GDK_KEY_KP_Page_Up:
      return UIKeyboardKey::PageUp;
    case GDK_KEY_Page_Down:
    case GDK_KEY_KP_Page_Down:
      return UIKeyboardKey::PageDown;
    case GDK_KEY_Home:
    case GDK_KEY_KP_Home:
      return UIKeyboardKey::Home;
    case GDK_KEY_End:
    case GDK_KEY_KP_End:
      return UIKeyboardKey::End;
    default:
      return std::nullopt;
  }
}

}  // namespace

bool Surface::contains_vfunc(double x, double y) const {
  return _surface.covers({x, y});
}

/// GTK sends a press to the widget that the pointer last moved over. This is the wrong widget if a view of ours has
/// appeared under a resting pointer or above a web page. So events are handled in the capture phase of the overlay,
/// before the widgets inside it get them.
void Surface::listen() {
  stopListening();
  GtkWidget* parent = gtk_widget_get_parent(gobj());
  if (!parent) return;
  _events = gtk_event_controller_legacy_new();
  g_object_ref(_events);
  gtk_event_controller_set_propagation_phase(_events, GTK_PHASE_CAPTURE);
  g_signal_connect(_events, "event", G_CALLBACK(handleEvent), this);
  gtk_widget_add_controller(parent, _events);
}

void Surface::stopListening() {
  if (!_events) return;
  g_signal_handlers_disconnect_by_data(_events, this);
  if (GtkWidget* parent = gtk_event_controller_get_widget(_events)) gtk_widget_remove_controller(parent, _events);
  g_clear_object(&_events);
}

/// Whether a touch that begins at the point is ours: a view of ours would take it, and no widget of the host lies above
/// that view. False above a web page, because a page is a widget and gets its touches from GTK.
bool Surface::isOnTopAt(CGPoint point) {
  GtkWidget* parent = gtk_widget_get_parent(gobj());
  double x = 0, y = 0;
  if (!parent || !gtk_widget_translate_coordinates(gobj(), parent, point.x, point.y, &x, &y)) return false;
  GtkWidget* top = gtk_widget_pick(parent, x, y, GTK_PICK_DEFAULT);
  if (!top || (top != gobj() && !gtk_widget_is_ancestor(top, gobj())) || !_surface.covers(point)) return false;
  return _nativeChildren->isEmpty() || !_nativeChildren->has(_window->hitTest(_surface.inStage(point)).get());
}

/// To be called when the views under a resting pointer may have changed. If the view under the pointer has closed, GTK
/// still treats the surface as the widget under the pointer, and the next press would be lost.
void Surface::settlePointer() {
  if (!_pointerIsOurs || _surface.hasTouches()) return;
  followPointer();
  if (!_surface.covers(*_pointer)) givePointerBack();
}

/// Shows a hand over views that can be pressed, otherwise the default arrow. Without this the host's widget below a
/// message would determine the cursor.
void Surface::followPointer() {
  const bool isOver = _pointerIsOurs && isOnTopAt(*_pointer);
  const bool pressable = _surface.pointerMoved(isOver ? _pointer : std::nullopt);
  const char* cursor = pressable ? "pointer" : "default";
  if (cursor == _cursor) return;
  _cursor = cursor;
  gtk_widget_set_cursor_from_name(GTK_WIDGET(gobj()), cursor);
}

void Surface::pointerLeft() {
  if (_surface.hasTouches()) return;
  _pointerIsOurs = false;
  _surface.pointerMoved(std::nullopt);
}

void Surface::givePointerBack() {
  _pointerIsOurs = false;
  // GTK has no function that determines the widget under the pointer again, but it does so when this widget becomes
  // insensitive. That would take the focus from a web page in the surface, so a page that has the focus prevents it.
  if (get_focus_child()) return;
  set_sensitive(false);
  set_sensitive(true);
}

gboolean Surface::handleEvent(GtkEventControllerLegacy*, GdkEvent* event, gpointer self) {
  // An exception must not unwind through GTK's stack frames.
  try {
    return static_cast<Surface*>(self)->handle(event) ? GDK_EVENT_STOP : GDK_EVENT_PROPAGATE;
  } catch (const std::exception& failure) {
    platformLog(failure.what());
    return GDK_EVENT_STOP;
  }
}

bool Surface::handle(GdkEvent* event) {
  CGPoint point;
  const GdkEventType type = gdk_event_get_event_type(event);
  if (type == GDK_BUTTON_PRESS || type == GDK_TOUCH_BEGIN) _surface.noteUse();
  switch (type) {
    case GDK_BUTTON_PRESS:
    case GDK_MOTION_NOTIFY:
    case GDK_BUTTON_RELEASE:
      return locate(event, point) && handlePointer(event, point);
    case GDK_TOUCH_BEGIN:
    case GDK_TOUCH_UPDATE:
    case GDK_TOUCH_END:
    case GDK_TOUCH_CANCEL:
      return locate(event, point) && handleTouch(event, point);
    case GDK_SCROLL:
      return locate(event, point) && handleScroll(event, point);
    case GDK_KEY_PRESS:
      return handleKey(event);
    case GDK_GRAB_BROKEN:
      _surface.cancelAllTouches();
      return false;
    default:
      return false;
  }
}

bool Surface::locate(GdkEvent* event, CGPoint& point) {
  GtkNative* native = gtk_widget_get_native(gobj());
  GdkSurface* surface = native ? gtk_native_get_surface(native) : nullptr;
  // A popover has its own GDK surface and coordinates; its events are not ours.
  if (!surface || gdk_event_get_surface(event) != surface) return false;
  double x = 0, y = 0;
  if (!gdk_event_get_position(event, &x, &y)) {
    // A scroll event has no position. The last known one is used, because asking the display for the position ends the
    // process for some kinds of devices.
    if (gdk_event_get_event_type(event) != GDK_SCROLL) return gdk_event_get_event_type(event) == GDK_TOUCH_CANCEL;
    if (_pointer) point = *_pointer;
    return _pointer.has_value();
  }
  double dx = 0, dy = 0;
  gtk_native_get_surface_transform(native, &dx, &dy);
  graphene_point_t inNative{static_cast<float>(x - dx), static_cast<float>(y - dy)};
  graphene_point_t inSurface;
  if (!gtk_widget_compute_point(GTK_WIDGET(native), gobj(), &inNative, &inSurface)) return false;
  point = {inSurface.x, inSurface.y};
  return true;
}

bool Surface::handlePointer(GdkEvent* event, CGPoint point) {
  bool running = _surface.hasTouch(pointerTouch);
  _pointer = point;
  _pointerIsOurs = running || _surface.covers(point);
  switch (gdk_event_get_event_type(event)) {
    case GDK_BUTTON_PRESS:
      // Other buttons over a view of ours do nothing, and must not reach the widget below either.
      if (gdk_button_event_get_button(event) != GDK_BUTTON_PRIMARY) return running || isOnTopAt(point);
      return begin(pointerTouch, point);
    case GDK_BUTTON_RELEASE:
      if (!running || gdk_button_event_get_button(event) != GDK_BUTTON_PRIMARY) return running;
      return endPress(point);
    default:
      if (!running) followPointer();
      // A web page below a view of ours must not get the movement.
      if (!running) return !_nativeChildren->isEmpty() && isOnTopAt(point);
      // If the button is not down any more, the release was lost, for example to a grab by the host.
      if (gdk_event_get_modifier_state(event) & GDK_BUTTON1_MASK) {
        _surface.touchMoved(pointerTouch, point);
      } else {
        _surface.touchCancelled(pointerTouch);
      }
      return true;
  }
}

bool Surface::endPress(CGPoint point) {
  std::weak_ptr<bool> alive = _alive;
  _surface.touchEnded(pointerTouch, point);
  // The action of the press may have closed the host's window and destroyed this surface.
  if (!alive.expired()) followPointer();
  return true;
}

bool Surface::handleTouch(GdkEvent* event, CGPoint point) {
  const auto finger = reinterpret_cast<std::intptr_t>(gdk_event_get_event_sequence(event));
  switch (gdk_event_get_event_type(event)) {
    case GDK_TOUCH_BEGIN:
      return begin(finger, point);
    case GDK_TOUCH_UPDATE:
      return _surface.touchMoved(finger, point);
    case GDK_TOUCH_END:
      return _surface.touchEnded(finger, point);
    default:
      return _surface.touchCancelled(finger);
  }
}

bool Surface::handleScroll(GdkEvent* event, CGPoint point) {
  if (!isOnTopAt(point)) return false;
  double dx = 0, dy = 0;
  switch (gdk_scroll_event_get_direction(event)) {
    case GDK_SCROLL_UP:
      dy = -kWheelNotch;
      break;
    case GDK_SCROLL_DOWN:
      dy = kWheelNotch;
      break;
    case GDK_SCROLL_LEFT:
      dx = -kWheelNotch;
      break;
    case GDK_SCROLL_RIGHT:
      dx = kWheelNotch;
      break;
    case GDK_SCROLL_SMOOTH: {
      gdk_scroll_event_get_deltas(event, &dx, &dy);
      double unit = gdk_scroll_event_get_unit(event) == GDK_SCROLL_UNIT_WHEEL ? kWheelNotch : 1;
      dx *= unit;
      dy *= unit;
      const double time = gdk_event_get_time(event) / 1e3;
      return gdk_scroll_event_is_stop(event) ? _surface.touchpadReleased(point, time)
                                             : _surface.scrollByTouchpad(point, dx, dy, time);
    }
  }
  return _surface.scroll(point, dx, dy);
}

/// While a dialog is shown, the library handles the keys before the host's widgets get them. Without a dialog GTK
/// handles all keys.
bool Surface::handleKey(GdkEvent* event) {
  GtkNative* native = gtk_widget_get_native(gobj());
  if (!native || gdk_event_get_surface(event) != gtk_native_get_surface(native)) return false;
  auto modifiers = gdk_event_get_modifier_state(event);
  constexpr auto looked = GDK_CONTROL_MASK | GDK_ALT_MASK | GDK_SUPER_MASK;
  auto key = keyFor(gdk_key_event_get_keyval(event), static_cast<GdkModifierType>(modifiers & looked));
  if (!key || !_proxies->hasDialog()) return false;
  // While a web page in the dialog has the focus, the page handles the keys. Only Escape and Back are handled here,
  // because the page itself has no key that closes it.
  const bool leaves = key == UIKeyboardKey::Escape || key == UIKeyboardKey::Back;
  if (!_proxies->hasKeyboard() && !leaves) {
    rememberPageKey(event);
    return false;
  }
  // If a page does not use a key, the engine queues the same event again, also for the Tab that moved the focus out of
  // the page. The repeated event must be ignored, or that Tab would move the focus a second time.
  if (event == _pageKey) return true;
  if (key == UIKeyboardKey::Tab && modifiers & GDK_SHIFT_MASK) key = UIKeyboardKey::BackTab;
  if (key == UIKeyboardKey::Tab && goIntoPage(true)) return true;
  if (key == UIKeyboardKey::BackTab && goIntoPage(false)) return true;
  return _surface.press(*key);
}

/// Holds a reference to the event, so that no later event has the same address: handleKey() compares addresses.
void Surface::rememberPageKey(GdkEvent* event) {
  g_clear_pointer(&_pageKey, gdk_event_unref);
  if (event) _pageKey = gdk_event_ref(event);
}

/// Moves the focus into the dialog's web page if it is the page's turn. The focus moves in a circle: the page comes
/// after the dialog's last button and before its first. Returns whether the focus has moved.
bool Surface::goIntoPage(bool forward) {
  auto dialog = frontmostDialog(*_window);
  GtkWidget* page = dialog ? _nativeChildren->widgetIn(*dialog) : nullptr;
  if (!page) return false;
  auto elements = accessibilityElements(dialog);
  std::erase_if(elements, [](const auto& element) { return !canBecomeFocused(*element); });
  auto focused = _window->focusedView();
  bool isLast = elements.empty() || focused == (forward ? elements.back() : elements.front());
  if (focused && !isLast) return false;
  if (!gtk_widget_child_focus(page, forward ? GTK_DIR_TAB_FORWARD : GTK_DIR_TAB_BACKWARD)) return false;
  _window->setFocusedView(nullptr);
  return true;
}

bool Surface::begin(std::int64_t identifier, CGPoint point) {
  _surface.touchCancelled(identifier);
  return isOnTopAt(point) && _surface.touchBegan(identifier, point);
}

}  // namespace oq::gtk
