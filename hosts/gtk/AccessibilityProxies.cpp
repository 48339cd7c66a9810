// SPDX-License-Identifier: Apache-2.0
#include "AccessibilityProxies.h"

#include <algorithm>
#include <cmath>

#include "Foundation/Values/Format.h"
#include "NativeChildren.h"
#include "UIKit/Windows/Accessibility.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::gtk {

namespace {

constexpr std::size_t kLongestDescription = 2000;  // bytes

GtkAccessibleRole roleOf(const UIView& view) {
  UIAccessibilityTraits traits = view.accessibilityTraits();
  if (traits & UIAccessibilityTraitButton) return GTK_ACCESSIBLE_ROLE_BUTTON;
  if (traits & UIAccessibilityTraitLink) return GTK_ACCESSIBLE_ROLE_LINK;
  if (traits & UIAccessibilityTraitHeader) return GTK_ACCESSIBLE_ROLE_HEADING;
  return traits & UIAccessibilityTraitImage ? GTK_ACCESSIBLE_ROLE_IMG : GTK_ACCESSIBLE_ROLE_LABEL;
}

/// Whether the view is a button or link that takes input. A disabled button counts as well. A view that ignores input
/// does not, because it must not get the focus.
bool takesInput(const UIView& view) {
  return (view.accessibilityTraits() & (UIAccessibilityTraitButton | UIAccessibilityTraitLink)) &&
         view.isUserInteractionEnabled();
}

CGRect frameInWindow(const UIView& view) {
  CGRect bounds = view.bounds();
  // A view may have a negative size if there is no space. GTK warns about negative sizes.
  return {view.convertPointToWindow(bounds.origin),
          {std::max(0.0, bounds.size.width), std::max(0.0, bounds.size.height)}};
}

void setProperty(GtkWidget* widget, GtkAccessibleProperty property, const std::string& value) {
  std::unique_ptr<char, void (*)(void*)> valid(g_utf8_make_valid(value.data(), static_cast<gssize>(value.size())),
                                               g_free);
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), property, valid.get(), -1);
}

/// Gives the focus back. gtk_widget_grab_focus() would also select the text of an entry.
void giveFocusBack(GtkWidget* widget) {
  if (GTK_IS_TEXT(widget)) {
    gtk_text_grab_focus_without_selecting(GTK_TEXT(widget));
  } else {
    gtk_widget_grab_focus(widget);
  }
}

/// An exception must not unwind through GTK's stack frames.
template <class Run>
void guarded(Run&& run) {
  try {
    run();
  } catch (const std::exception& failure) {
    platformLog(failure.what());
  }
}

}  // namespace

AccessibilityProxies::AccessibilityProxies(GtkWidget* surface, std::shared_ptr<UIWindow> window,
                                           const NativeChildren& pages)
    : _surface(surface), _window(std::move(window)), _pages(pages) {}

AccessibilityProxies::~AccessibilityProxies() {
  clear();
}

void AccessibilityProxies::clear() {
  for (auto& [view, proxy] : _elements) remove(proxy);
  _elements.clear();
  remove(_dialog);
}

/// A CSS name that no theme uses avoids the theme's paddings and minimum sizes.
GtkWidget* AccessibilityProxies::make(GtkAccessibleRole role, bool focusable) {
  GType type = focusable && role != GTK_ACCESSIBLE_ROLE_DIALOG ? GTK_TYPE_BUTTON : GTK_TYPE_BOX;
  auto* widget = GTK_WIDGET(g_object_new(type, "css-name", "oqsdk-stand-in", "accessible-role", role, "can-target",
                                         FALSE, "focusable", focusable, nullptr));
  gtk_widget_set_layout_manager(widget, nullptr);
  return widget;
}

void AccessibilityProxies::remove(AccessibilityProxy& proxy) {
  if (!proxy.widget) return;
  g_signal_handlers_disconnect_by_data(proxy.widget, this);
  gtk_widget_unparent(proxy.widget);
  proxy.widget = nullptr;
}

void AccessibilityProxies::update() {
  auto dialog = frontmostDialog(*_window);
  auto elements = accessibilityElements(dialog ? dialog : std::static_pointer_cast<UIView>(_window));
  setDialog(dialog);
  setElements(elements);
  if (dialog) describeDialog(elements);
  followFocus();
  if (_changed) gtk_widget_queue_allocate(_surface);
}

void AccessibilityProxies::setDialog(const std::shared_ptr<UIView>& view) {
  if (_dialog.view.lock() == view && (_dialog.widget != nullptr) == (view != nullptr)) return;
  const bool isFree = !focus() || gtk_widget_is_ancestor(focus(), _surface);
  const auto element = viewOf(focus());
  const auto now = FocusMemory::at(element, element || isOurs(focus()) ? nullptr : focus());
  // Removes all proxies, because the elements of another dialog need another parent widget.
  clear();
  _dialog = {};
  _description.clear();
  if (view) {
    _dialog.widget = make(GTK_ACCESSIBLE_ROLE_DIALOG, true);
    _dialog.view = view;
    gtk_widget_set_parent(_dialog.widget, _surface);
    gtk_accessible_update_property(GTK_ACCESSIBLE(_dialog.widget), GTK_ACCESSIBLE_PROPERTY_MODAL, TRUE, -1);
    _changed = true;
    describe(_dialog, *view);
  }
  const auto before = _focusMemory.dialogChanged(view, now);
  if (view && !before) return focusDialog();
  if (before && isFree) returnFocus(*before);
}

void AccessibilityProxies::focusDialog() {
  GtkWidget* page = pageOfDialog();
  gtk_widget_grab_focus(page ? page : _dialog.widget);
}

void AccessibilityProxies::returnFocus(const FocusMemory::Place& place) {
  // followFocus() then moves GTK's focus, too.
  if (const auto view = place.view.lock()) return _window->setFocusedView(view);
  GtkWidget* widget = FocusMemory::widgetAt(place);
  if (widget && gtk_widget_get_root(widget) == gtk_widget_get_root(_surface)) giveFocusBack(widget);
}

void AccessibilityProxies::setElements(const std::vector<std::shared_ptr<UIView>>& elements) {
  for (auto entry = _elements.begin(); entry != _elements.end();) {
    AccessibilityProxy& proxy = entry->second;
    auto view = proxy.view.lock();
    bool stays = view && std::find(elements.begin(), elements.end(), view) != elements.end() &&
                 proxy.role == roleOf(*view) && (GTK_IS_BUTTON(proxy.widget) != FALSE) == takesInput(*view);
    if (!stays) remove(proxy);
    entry = stays ? std::next(entry) : _elements.erase(entry);
  }
  GtkWidget* parent = _dialog.widget ? _dialog.widget : _surface;
  GtkWidget* previous = nullptr;
  for (const auto& view : elements) {
    AccessibilityProxy& proxy = _elements[view.get()];
    if (!proxy.widget) {
      proxy.role = roleOf(*view);
      proxy.view = view;
      proxy.widget = make(proxy.role, takesInput(*view));
      gtk_widget_set_parent(proxy.widget, parent);
      _changed = true;
      if (GTK_IS_BUTTON(proxy.widget)) {
        g_signal_connect(proxy.widget, "clicked", G_CALLBACK(clicked), this);
        GtkEventController* watch = gtk_event_controller_focus_new();
        g_signal_connect(watch, "enter", G_CALLBACK(entered), this);
        g_signal_connect(watch, "leave", G_CALLBACK(left), this);
        gtk_widget_add_controller(proxy.widget, watch);
      }
    }
    describe(proxy, *view);
    if (gtk_widget_get_prev_sibling(proxy.widget) != previous) gtk_widget_insert_after(proxy.widget, parent, previous);
    previous = proxy.widget;
  }
}

void AccessibilityProxies::describe(AccessibilityProxy& proxy, const UIView& view) {
  std::string name = view.accessibilityLabel();
  if (name != proxy.name) setProperty(proxy.widget, GTK_ACCESSIBLE_PROPERTY_LABEL, name);
  proxy.name = std::move(name);
  gtk_widget_set_sensitive(proxy.widget, !(view.accessibilityTraits() & UIAccessibilityTraitNotEnabled));
  CGRect frame = frameInWindow(view);
  if (frame != proxy.frame) _changed = true;
  proxy.frame = frame;
}

/// The text of the dialog, which screen readers announce with its name when it opens.
void AccessibilityProxies::describeDialog(const std::vector<std::shared_ptr<UIView>>& elements) {
  std::string text;
  for (const auto& view : elements) {
    bool isText = roleOf(*view) == GTK_ACCESSIBLE_ROLE_LABEL;
    if (!isText || view->accessibilityLabel() == _dialog.name) continue;
    if (!text.empty()) text += '\n';
    text += view->accessibilityLabel();
  }
  if (text.size() > kLongestDescription) {
    const char* end = g_utf8_find_prev_char(text.data(), text.data() + kLongestDescription);
    text.resize(end ? static_cast<std::size_t>(end - text.data()) : 0);
  }
  if (text == _description) return;
  _description = text;
  setProperty(_dialog.widget, GTK_ACCESSIBLE_PROPERTY_DESCRIPTION, text);
}

GtkWidget* AccessibilityProxies::focus() const {
  GtkRoot* root = gtk_widget_get_root(_surface);
  return root ? gtk_root_get_focus(root) : nullptr;
}

bool AccessibilityProxies::isOurs(GtkWidget* widget) const {
  if (!widget) return false;
  return widget == _dialog.widget || std::any_of(_elements.begin(), _elements.end(),
                                                 [widget](const auto& entry) { return entry.second.widget == widget; });
}

std::shared_ptr<UIView> AccessibilityProxies::viewOf(GtkWidget* widget) const {
  for (const auto& [view, proxy] : _elements) {
    if (proxy.widget == widget) return proxy.view.lock();
  }
  return nullptr;
}

/// Moves GTK's focus to the window's focused view, and keeps it inside the dialog.
void AccessibilityProxies::followFocus() {
  auto focused = _window->focusedView();
  auto found = _elements.find(focused.get());
  if (found != _elements.end()) {
    if (focus() != found->second.widget) gtk_widget_grab_focus(found->second.widget);
    return;
  }
  if (!_dialog.widget || isInDialog(focus())) return;
  if (isCovered(focus())) _focusMemory.setHostFocus(focus());
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
  const auto dialog = _dialog.view.lock();
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
  _window->setFocusedView(nullptr);
  _window->pressKey(first ? UIKeyboardKey::Tab : UIKeyboardKey::BackTab);
  auto found = _elements.find(_window->focusedView().get());
  return gtk_widget_grab_focus(found == _elements.end() ? _dialog.widget : found->second.widget);
}

void AccessibilityProxies::clicked(GtkButton* button, gpointer self) {
  guarded([&] {
    auto* proxies = static_cast<AccessibilityProxies*>(self);
    auto window = proxies->_window;
    window->setFocusedView(proxies->viewOf(GTK_WIDGET(button)));
    window->pressKey(UIKeyboardKey::Return);
  });
}

void AccessibilityProxies::entered(GtkEventControllerFocus* controller, gpointer self) {
  auto* proxies = static_cast<AccessibilityProxies*>(self);
  GtkWidget* widget = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller));
  guarded([&] { proxies->_window->setFocusedView(proxies->viewOf(widget)); });
}

void AccessibilityProxies::left(GtkEventControllerFocus* controller, gpointer self) {
  auto* proxies = static_cast<AccessibilityProxies*>(self);
  GtkWidget* widget = gtk_event_controller_get_widget(GTK_EVENT_CONTROLLER(controller));
  guarded([&] {
    auto view = proxies->viewOf(widget);
    if (view && proxies->_window->focusedView() == view) proxies->_window->setFocusedView(nullptr);
  });
}

void AccessibilityProxies::allocate(const Stage& stage) {
  _changed = false;
  const CGPoint surface = stage.toStage({});
  if (_dialog.widget) place(_dialog, surface, stage.scale);
  CGPoint origin = _dialog.widget ? _dialog.frame.origin : surface;
  for (const auto& [view, proxy] : _elements) place(proxy, origin, stage.scale);
}

/// `origin`: the origin of the parent widget, in the window.
void AccessibilityProxies::place(const AccessibilityProxy& proxy, CGPoint origin, double scale) const {
  // GTK requires measuring before allocating.
  gtk_widget_measure(proxy.widget, GTK_ORIENTATION_HORIZONTAL, -1, nullptr, nullptr, nullptr, nullptr);
  gtk_widget_measure(proxy.widget, GTK_ORIENTATION_VERTICAL, -1, nullptr, nullptr, nullptr, nullptr);
  auto whole = [scale](double value) { return static_cast<int>(std::lround(std::clamp(value * scale, -1e6, 1e6))); };
  const CGRect& frame = proxy.frame;
  GtkAllocation allocation{whole(frame.minX() - origin.x), whole(frame.minY() - origin.y), whole(frame.size.width),
                           whole(frame.size.height)};
  gtk_widget_size_allocate(proxy.widget, &allocation, -1);
}

}  // namespace oq::gtk
