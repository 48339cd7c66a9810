// SPDX-License-Identifier: Apache-2.0
#include "ChildWrapper.h"

#include <string>

namespace oq::gtk {

namespace {

constexpr const char* kDataKey = "oqsdk-window-child";

/// Restores the window's focus widget and default widget at the end of a scope. GTK resets both when a widget moves to
/// another parent.
class KeepFocus {
 public:
  explicit KeepFocus(GtkWindow* window) : _window(window) {
    g_set_object(&_focus, gtk_window_get_focus(window));
    g_set_object(&_default, gtk_window_get_default_widget(window));
  }
  ~KeepFocus() {
    if (belongs(_focus)) gtk_window_set_focus(_window, _focus);
    if (belongs(_default)) gtk_window_set_default_widget(_window, _default);
    g_clear_object(&_focus);
    g_clear_object(&_default);
  }
  KeepFocus(const KeepFocus&) = delete;
  KeepFocus& operator=(const KeepFocus&) = delete;

 private:
  bool belongs(GtkWidget* widget) const { return widget && gtk_widget_get_root(widget) == GTK_ROOT(_window); }

  GtkWindow* _window;
  GtkWidget* _focus = nullptr;
  GtkWidget* _default = nullptr;
};

/// The property that holds a window's contents. For libadwaita's windows it is "content": setting their "child" would
/// end the process. Their classes are found by name, so that the library need not link libadwaita.
const char* childProperty(GtkWindow* window) {
  for (const char* name : {"AdwWindow", "AdwApplicationWindow"}) {
    const GType type = g_type_from_name(name);
    if (type && g_type_is_a(G_OBJECT_TYPE(window), type)) return "content";
  }
  return "child";
}

}  // namespace

bool ChildWrapper::isWrapped(GtkWindow* window) {
  return g_object_get_data(G_OBJECT(window), kDataKey) != nullptr;
}

void ChildWrapper::wrap(GtkWindow* window, GtkWidget* surface) {
  auto* wrapper = new ChildWrapper(window, surface);
  auto drop = +[](gpointer data) { delete static_cast<ChildWrapper*>(data); };
  g_object_set_data_full(G_OBJECT(window), kDataKey, wrapper, drop);
}

ChildWrapper::ChildWrapper(GtkWindow* window, GtkWidget* surface)
    : _window(window), _property(childProperty(window)), _overlay(gtk_overlay_new()) {
  // This object holds its own reference, because a window that gets another child releases the overlay.
  g_object_ref_sink(_overlay);
  gtk_overlay_add_overlay(GTK_OVERLAY(_overlay), surface);
  adopt();
  const std::string signal = std::string("notify::") + _property;
  g_signal_connect(window, signal.c_str(), G_CALLBACK(childChanged), this);
}

ChildWrapper::~ChildWrapper() {
  if (_pending) g_source_remove(_pending);
  g_object_unref(_overlay);
}

/// The result is owned by the window.
GtkWidget* ChildWrapper::child() const {
  GtkWidget* child = nullptr;
  g_object_get(_window, _property, &child, nullptr);
  if (child) g_object_unref(child);
  return child;
}

void ChildWrapper::childChanged(GObject*, GParamSpec*, gpointer self) {
  auto* wrapper = static_cast<ChildWrapper*>(self);
  if (wrapper->_adopting || gtk_widget_in_destruction(GTK_WIDGET(wrapper->_window))) return;
  if (wrapper->child() == wrapper->_overlay) return;
  // The former child leaves the overlay immediately, because the host may be about to put it elsewhere.
  gtk_overlay_set_child(GTK_OVERLAY(wrapper->_overlay), nullptr);
  if (wrapper->child()) {
    wrapper->adopt();
  } else {
    wrapper->wrapLaterWhenEmpty();
  }
}

void ChildWrapper::adopt() {
  // Nothing can be done if the host has put the overlay itself into another widget tree.
  if (gtk_widget_get_parent(_overlay)) return;
  _adopting = true;
  {
    KeepFocus focus(_window);
    GtkWidget* former = nullptr;
    g_object_get(_window, _property, &former, nullptr);
    g_object_set(_window, _property, _overlay, nullptr);
    gtk_overlay_set_child(GTK_OVERLAY(_overlay), former);
    if (former) g_object_unref(former);
  }
  _adopting = false;
}

void ChildWrapper::wrapLaterWhenEmpty() {
  if (_pending) return;
  auto later = +[](gpointer self) -> gboolean {
    auto* wrapper = static_cast<ChildWrapper*>(self);
    wrapper->_pending = 0;
    if (!wrapper->child()) wrapper->adopt();
    return G_SOURCE_REMOVE;
  };
  _pending = g_idle_add(later, this);
}

}  // namespace oq::gtk
