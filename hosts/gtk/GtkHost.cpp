// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/gtk/GtkHost.h"

#include <giomm/application.h>
#include <gtkmm/object.h>

#include "ChildWrapper.h"
#include "Host.h"
#include "Host/HostInstallation.h"
#include "Surface.h"
#include "WebPages.h"

namespace oq::gtk {

namespace {

std::string identifierFor(const AttachOptions& options) {
  if (!options.applicationIdentifier.empty()) return options.applicationIdentifier;
  if (GApplication* application = g_application_get_default()) {
    if (const char* identifier = g_application_get_application_id(application)) return identifier;
  }
  const char* program = g_get_prgname();
  return program ? program : "";
}

/// Applies the options that concern the whole process. Only those of the first attachment count.
void install(const AttachOptions& options) {
  static bool installed = false;
  if (installed) return;
  installed = true;
  WebPages::setPreloads(options.preloadWebEngine);
  prepareProcess({identifierFor(options), options.applicationVersion, options.dataDirectory});
}

Surface* makeSurface(int width, int height, const AttachOptions& options) {
  const CGSize size{static_cast<double>(std::max(0, width)), static_cast<double>(std::max(0, height))};
  return Gtk::make_managed<Surface>(Host::shared(), size, options.maximumScale);
}

bool hasSurface(Gtk::Overlay& overlay) {
  GtkWidget* child = gtk_widget_get_first_child(GTK_WIDGET(overlay.gobj()));
  for (; child; child = gtk_widget_get_next_sibling(child)) {
    if (Surface::isSurface(child)) return true;
  }
  return false;
}

}  // namespace

void attach(Gtk::Window& window, const AttachOptions& options) {
  if (ChildWrapper::isWrapped(window.gobj())) return;
  install(options);
  int width = window.get_width(), height = window.get_height();
  if (width <= 0 || height <= 0) window.get_default_size(width, height);
  auto* surface = makeSurface(width, height, options);
  ChildWrapper::wrap(window.gobj(), GTK_WIDGET(surface->gobj()));
}

void attach(Gtk::Overlay& overlay, const AttachOptions& options) {
  if (hasSurface(overlay)) return;
  install(options);
  auto* surface = makeSurface(overlay.get_width(), overlay.get_height(), options);
  overlay.add_overlay(*surface);
}

}  // namespace oq::gtk
