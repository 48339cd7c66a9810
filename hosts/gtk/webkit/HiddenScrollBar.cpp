// SPDX-License-Identifier: Apache-2.0
#include "HiddenScrollBar.h"

namespace oq::gtk {

namespace {

/// Whether the event is an input of the user; a mere movement of the pointer counts.
bool isFromUser(GdkEventType type) {
  switch (type) {
    case GDK_MOTION_NOTIFY:
    case GDK_BUTTON_PRESS:
    case GDK_SCROLL:
    case GDK_TOUCH_BEGIN:
    case GDK_KEY_PRESS:
      return true;
    default:
      return false;
  }
}

}  // namespace

HiddenScrollBar::HiddenScrollBar(WebKitWebView* view) : _view(view), _input(gtk_event_controller_legacy_new()) {
  WebKitUserStyleSheet* sheet =
      webkit_user_style_sheet_new(":root { scrollbar-width: none }", WEBKIT_USER_CONTENT_INJECT_TOP_FRAME,
                                  WEBKIT_USER_STYLE_LEVEL_USER, nullptr, nullptr);
  webkit_user_content_manager_add_style_sheet(webkit_web_view_get_user_content_manager(_view), sheet);
  webkit_user_style_sheet_unref(sheet);
  gtk_event_controller_set_propagation_phase(_input.get(), GTK_PHASE_CAPTURE);
  g_signal_connect(_input.get(), "event",
                   G_CALLBACK(+[](GtkEventControllerLegacy*, GdkEvent* event, gpointer self) -> gboolean {
                     if (isFromUser(gdk_event_get_event_type(event))) static_cast<HiddenScrollBar*>(self)->show();
                     return FALSE;
                   }),
                   this);
  // The view takes over one reference.
  gtk_widget_add_controller(GTK_WIDGET(_view), GTK_EVENT_CONTROLLER(g_object_ref(_input.get())));
}

HiddenScrollBar::~HiddenScrollBar() {
  g_signal_handlers_disconnect_by_data(_input.get(), this);
}

void HiddenScrollBar::show() {
  gtk_event_controller_set_propagation_phase(_input.get(), GTK_PHASE_NONE);
  webkit_user_content_manager_remove_all_style_sheets(webkit_web_view_get_user_content_manager(_view));
  // The engine creates no bar for an existing document until the document's overflow changes. So the script changes the
  // overflow and restores the page's own inline style before anything is painted.
  constexpr const char* makeBar =
      "const root = document.documentElement, hadStyle = root.hasAttribute('style'), before = root.style.cssText;"
      "root.style.setProperty('overflow', 'hidden', 'important'); root.offsetHeight;"
      "root.style.cssText = before; if (!hadStyle) root.removeAttribute('style'); root.offsetHeight;";
  webkit_web_view_evaluate_javascript(_view, makeBar, -1, "oqsdk", nullptr, nullptr, nullptr, nullptr);
}

}  // namespace oq::gtk
