// SPDX-License-Identifier: Apache-2.0
#include "AccessibilityProxies.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include "Foundation/System/GLibReference.h"
#include "Foundation/Values/Format.h"
#include "NativeChildren.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::gtk {

namespace {

GtkAccessibleRole roleOf(const AccessibleElement& element) {
  switch (element.role) {
    case AccessibleRole::Dialog:
      return GTK_ACCESSIBLE_ROLE_DIALOG;
    case AccessibleRole::Button:
      return GTK_ACCESSIBLE_ROLE_BUTTON;
    case AccessibleRole::Link:
      return GTK_ACCESSIBLE_ROLE_LINK;
    case AccessibleRole::Heading:
      return GTK_ACCESSIBLE_ROLE_HEADING;
    case AccessibleRole::Image:
      return GTK_ACCESSIBLE_ROLE_IMG;
    case AccessibleRole::Text:
      break;
  }
  return GTK_ACCESSIBLE_ROLE_LABEL;
}

void setProperty(GtkWidget* widget, GtkAccessibleProperty property, const std::string& value) {
  std::unique_ptr<char, void (*)(void*)> valid(g_utf8_make_valid(value.data(), static_cast<gssize>(value.size())),
                                               g_free);
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), property, valid.get(), -1);
}

/// Focuses a widget of the host again. For a text field, gtk_widget_grab_focus() would also select the whole text.
void giveFocusBack(GtkWidget* widget) {
  if (GTK_IS_TEXT(widget)) {
    gtk_text_grab_focus_without_selecting(GTK_TEXT(widget));
  } else {
    gtk_widget_grab_focus(widget);
  }
}

/// Calls `run` and logs its exceptions, because an exception must not unwind through GTK's stack frames.
template <class Run>
void guarded(Run&& run) {
  try {
    run();
  } catch (const std::exception& failure) {
    platformLog(failure.what());
  }
}

}  // namespace

AccessibilityProxies::AccessibilityProxies(GtkWidget* widget, HostSurface& views, const NativeChildren& pages)
    : _surface(widget), _views(views), _pages(pages) {}

AccessibilityProxies::~AccessibilityProxies() {
  clear();
}

void AccessibilityProxies::clear() {
  for (auto& [id, proxy] : _elements) remove(proxy);
  _elements.clear();
  remove(_dialog);
}

/// A CSS name that no theme uses avoids the theme's paddings and minimum sizes.
AccessibilityProxies::Proxy AccessibilityProxies::make(const AccessibleElement& element, GtkWidget* parent) {
  const bool focusable = element.takesInput || element.role == AccessibleRole::Dialog;
  auto* widget = GTK_WIDGET(g_object_new(element.takesInput ? GTK_TYPE_BUTTON : GTK_TYPE_BOX, "css-name",
                                         "oqsdk-stand-in", "accessible-role", roleOf(element), "can-target", FALSE,
                                         "focusable", focusable, nullptr));
  gtk_widget_set_layout_manager(widget, nullptr);
  gtk_widget_set_parent(widget, parent);
  _changed = true;
  if (element.takesInput) {
    g_signal_connect(widget, "clicked", G_CALLBACK(clicked), this);
    GtkEventController* watch = gtk_event_controller_focus_new();
    g_signal_connect(watch, "enter", G_CALLBACK(entered), this);
    g_signal_connect(watch, "leave", G_CALLBACK(left), this);
    gtk_widget_add_controller(widget, watch);
  }
  return {widget, {}};
}

void AccessibilityProxies::remove(Proxy& proxy) {
  if (!proxy.widget) return;
  g_signal_handlers_disconnect_by_data(proxy.widget, this);
  gtk_widget_unparent(proxy.widget);
  proxy = {};
}

void AccessibilityProxies::update() {
  const AccessibleTree& tree = _views.accessibleTree();
  setDialog(tree.dialog);
  setElements(tree.elements);
  followFocus();
  if (_changed) gtk_widget_queue_allocate(_surface);
}

void AccessibilityProxies::setDialog(const std::optional<AccessibleElement>& dialog) {
  if (_dialog.element.id != (dialog ? dialog->id : 0)) {
    // Removes all proxies, because the elements of another dialog need another parent widget.
    clear();
    if (dialog) {
      _dialog = make(*dialog, _surface);
      gtk_accessible_update_property(GTK_ACCESSIBLE(_dialog.widget), GTK_ACCESSIBLE_PROPERTY_MODAL, TRUE, -1);
    }
  }
  if (dialog) describe(_dialog, *dialog);
  if (dialog && std::exchange(_takesFocus, false)) focusDialog();
}

void AccessibilityProxies::focusDialog() {
  GtkWidget* page = pageOfDialog();
  gtk_widget_grab_focus(page ? page : _dialog.widget);
}

HostFocus AccessibilityProxies::hostFocus() const {
  GtkWidget* widget = focus();
  if (!widget || isOurs(widget)) return nullptr;
  const std::shared_ptr<GWeakRef> reference(new GWeakRef, [](GWeakRef* former) {
    g_weak_ref_clear(former);
    delete former;
  });
  g_weak_ref_init(reference.get(), widget);
  return reference;
}

void AccessibilityProxies::restoreFocus(const HostFocus& former) {
  // If another widget outside the surface has got the focus in the meantime, that widget keeps the focus.
  if (focus() && !gtk_widget_is_ancestor(focus(), _surface)) return;
  const ObjectRef<GtkWidget> widget(static_cast<GtkWidget*>(g_weak_ref_get(static_cast<GWeakRef*>(former.get()))));
  GtkRoot* root = widget ? gtk_widget_get_root(widget.get()) : nullptr;
  if (root && root == gtk_widget_get_root(_surface)) giveFocusBack(widget.get());
}

void AccessibilityProxies::setElements(const std::vector<AccessibleElement>& elements) {
  for (auto& [id, proxy] : _elements) {
    const auto isSame = [id = id](const AccessibleElement& element) { return element.id == id; };
    if (std::none_of(elements.begin(), elements.end(), isSame)) remove(proxy);
  }
  std::erase_if(_elements, [](const auto& entry) { return !entry.second.widget; });
  GtkWidget* parent = _dialog.widget ? _dialog.widget : _surface;
  GtkWidget* previous = nullptr;
  for (const AccessibleElement& element : elements) {
    Proxy& proxy = _elements[element.id];
    if (!proxy.widget) proxy = make(element, parent);
    describe(proxy, element);
    if (gtk_widget_get_prev_sibling(proxy.widget) != previous) gtk_widget_insert_after(proxy.widget, parent, previous);
    previous = proxy.widget;
  }
}

void AccessibilityProxies::describe(Proxy& proxy, const AccessibleElement& element) {
  const AccessibleElement before = std::exchange(proxy.element, element);
  if (element.name != before.name) setProperty(proxy.widget, GTK_ACCESSIBLE_PROPERTY_LABEL, element.name);
  if (element.description != before.description)
    setProperty(proxy.widget, GTK_ACCESSIBLE_PROPERTY_DESCRIPTION, element.description);
  gtk_widget_set_sensitive(proxy.widget, element.isEnabled);
  _changed |= element.frame != before.frame;
}

GtkWidget* AccessibilityProxies::focus() const {
  GtkRoot* root = gtk_widget_get_root(_surface);
  return root ? gtk_root_get_focus(root) : nullptr;
}

bool AccessibilityProxies::isOurs(GtkWidget* widget) const {
  return widget && (widget == _dialog.widget || elementOf(widget) != 0);
}

/// The id of the element that the widget represents; 0 if it represents none.
std::uint64_t AccessibilityProxies::elementOf(gpointer widget) const {
  const auto found = std::find_if(_elements.begin(), _elements.end(),
                                  [widget](const auto& entry) { return entry.second.widget == widget; });
  return found == _elements.end() ? 0 : found->first;
}

GtkWidget* AccessibilityProxies::focusedProxy() const {
  const auto view = _views.window()->focusedView();
  if (!view) return nullptr;
  const auto found = std::find_if(_elements.begin(), _elements.end(),
                                  [&](const auto& entry) { return _views.viewOf(entry.first) == view; });
  return found == _elements.end() ? nullptr : found->second.widget;
}

/// Moves GTK's focus to the proxy of the view that the library has focused. If there is none, keeps GTK's focus inside
/// the dialog.
void AccessibilityProxies::followFocus() {
  if (GtkWidget* focused = focusedProxy()) {
    if (focus() != focused) gtk_widget_grab_focus(focused);
    return;
  }
  if (!_dialog.widget || isInDialog(focus())) return;
  if (isCovered(focus())) _views.noteHostFocus(hostFocus());
  if (!focus() || isCovered(focus()) || gtk_widget_is_ancestor(focus(), _surface)) takeFocusBack();
}

/// Moves the focus into the dialog. The host may focus its own widget again whenever that widget loses the focus, so
/// this function gives up after three calls in quick succession.
void AccessibilityProxies::takeFocusBack() {
  const gint64 now = g_get_monotonic_time();
  if (now - _lastTakeBack > G_USEC_PER_SEC) _takeBacks = 0;
  _lastTakeBack = now;
  if (_takeBacks++ < 3) focusDialog();
}

GtkWidget* AccessibilityProxies::pageOfDialog() const {
  const auto dialog = _views.viewOf(_dialog.element.id);
  return dialog ? _pages.widgetIn(*dialog) : nullptr;
}

bool AccessibilityProxies::isInDialog(GtkWidget* widget) const {
  if (!widget) return false;
  GtkWidget* page = pageOfDialog();
  return widget == _dialog.widget || (page && (widget == page || gtk_widget_is_ancestor(widget, page)));
}

bool AccessibilityProxies::isCovered(GtkWidget* widget) const {
  GtkWidget* parent = gtk_widget_get_parent(_surface);
  GtkNative* native = gtk_widget_get_native(_surface);
  if (!widget || !parent || gtk_widget_get_native(widget) != native) return false;
  GtkWidget* titleBar = GTK_IS_WINDOW(native) ? gtk_window_get_titlebar(GTK_WINDOW(native)) : nullptr;
  if (titleBar && gtk_widget_is_ancestor(widget, titleBar)) return true;
  for (GtkWidget* below = gtk_widget_get_prev_sibling(_surface); below; below = gtk_widget_get_prev_sibling(below)) {
    if (widget == below || gtk_widget_is_ancestor(widget, below)) return true;
  }
  return false;
}

bool AccessibilityProxies::isInPage(GtkWidget* widget) const {
  return widget && widget != _surface && !isOurs(widget) && gtk_widget_is_ancestor(widget, _surface);
}

bool AccessibilityProxies::hasKeyboard() const {
  return hasDialog() && !isInPage(focus());
}

bool AccessibilityProxies::takeFocus(bool first) {
  if (!hasDialog()) return false;
  _views.window()->setFocusedView(nullptr);
  _views.press(first ? KeyboardKey::Tab : KeyboardKey::BackTab);
  GtkWidget* focused = focusedProxy();
  return gtk_widget_grab_focus(focused ? focused : _dialog.widget);
}

void AccessibilityProxies::clicked(GtkButton* button, gpointer self) {
  auto* proxies = static_cast<AccessibilityProxies*>(self);
  guarded([&] { proxies->_views.activate(proxies->elementOf(button)); });
}

void AccessibilityProxies::entered(GtkEventControllerFocus* controller, gpointer self) {
  auto* proxies = static_cast<AccessibilityProxies*>(self);
  GtkWidget* widget = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller));
  guarded([&] { proxies->_views.setElementFocused(proxies->elementOf(widget), true); });
}

void AccessibilityProxies::left(GtkEventControllerFocus* controller, gpointer self) {
  auto* proxies = static_cast<AccessibilityProxies*>(self);
  GtkWidget* widget = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller));
  guarded([&] { proxies->_views.setElementFocused(proxies->elementOf(widget), false); });
}

void AccessibilityProxies::allocate() {
  _changed = false;
  // Makes the tree again, because accessibleTree() may be older than the current size.
  const AccessibleTree tree = _views.currentAccessibleTree();
  if (_dialog.widget) place(_dialog, tree, {});
  for (const auto& [id, proxy] : _elements) place(proxy, tree, tree.dialog ? tree.dialog->frame.origin : CGPoint{});
}

/// `origin` is the position of the proxy's parent widget, relative to the surface.
void AccessibilityProxies::place(const Proxy& proxy, const AccessibleTree& tree, CGPoint origin) const {
  // GTK requires measuring before allocating.
  gtk_widget_measure(proxy.widget, GTK_ORIENTATION_HORIZONTAL, -1, nullptr, nullptr, nullptr, nullptr);
  gtk_widget_measure(proxy.widget, GTK_ORIENTATION_VERTICAL, -1, nullptr, nullptr, nullptr, nullptr);
  const auto whole = [](double value) { return static_cast<int>(std::lround(std::clamp(value, -1e6, 1e6))); };
  const AccessibleElement* current = tree.find(proxy.element.id);
  const CGRect& frame = current ? current->frame : proxy.element.frame;
  const GtkAllocation allocation{whole(frame.minX() - origin.x), whole(frame.minY() - origin.y),
                                 whole(frame.size.width), whole(frame.size.height)};
  gtk_widget_size_allocate(proxy.widget, &allocation, -1);
}

}  // namespace oq::gtk
