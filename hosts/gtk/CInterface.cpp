// SPDX-License-Identifier: Apache-2.0
#include <gtkmm/init.h>
#include <gtkmm/window.h>

#include <cmath>
#include <exception>
#include <string>

#include "Dispatch/DispatchQueue.h"
#include "Host.h"
#include "Host/HostInstallation.h"
#include "UIKit/Windows/UIApplication.h"
#include "oqsdk/c/gtk.h"
#include "oqsdk/gtk/GtkHost.h"

using namespace oq;

namespace {

gboolean fail(GError** error, GIOErrorEnum code, const char* reason) {
  g_set_error_literal(error, G_IO_ERROR, code, reason);
  return FALSE;
}

bool isUtf8(const char* string) {
  return !string || g_utf8_validate(string, -1, nullptr);
}

/// Whether a host that does not belong to GTK is installed. Main thread only.
bool hasOtherHost() {
  UIHost* host = UIApplication::sharedApplication().host();
  return host && !dynamic_cast<gtk::Host*>(host);
}

/// Whether this is not the main thread. Before the first window is attached, the main thread is the one that runs
/// GLib's default main context, if one does.
bool isOtherThread() {
  if (isProcessPrepared()) return DispatchQueue::currentLabel() != DispatchQueue::main().label();
  if (!g_main_context_acquire(nullptr)) return true;
  g_main_context_release(nullptr);
  return false;
}

}  // namespace

extern "C" {

gboolean oqsdk_gtk_attach(GtkWindow* window, GError** error) {
  return oqsdk_gtk_attach_full(window, nullptr, nullptr, nullptr, 0, error);
}

gboolean oqsdk_gtk_attach_full(GtkWindow* window, const char* application, const char* version, const char* data_folder,
                               double maximum_scale, GError** error) {
  if (!gtk_is_initialized()) return fail(error, G_IO_ERROR_NOT_INITIALIZED, "GTK is not initialised.");
  if (!GTK_IS_WINDOW(window)) return fail(error, G_IO_ERROR_INVALID_ARGUMENT, "window is not a GtkWindow.");
  if (!isUtf8(application) || !isUtf8(version))
    return fail(error, G_IO_ERROR_INVALID_ARGUMENT, "application or version is not UTF-8.");
  if (!std::isfinite(maximum_scale) || maximum_scale < 0)
    return fail(error, G_IO_ERROR_INVALID_ARGUMENT, "maximum_scale is negative or not finite.");
  if (isOtherThread()) return fail(error, G_IO_ERROR_FAILED, "This is not the main thread.");
  if (hasOtherHost()) return fail(error, G_IO_ERROR_EXISTS, "Another host is installed in this process.");
  const auto stringOf = [](const char* string) { return std::string(string ? string : ""); };
  try {
    Gtk::init_gtkmm_internals();
    gtk::AttachOptions options;
    options.applicationIdentifier = stringOf(application);
    options.applicationVersion = stringOf(version);
    options.dataDirectory = stringOf(data_folder);
    if (maximum_scale > 0) options.maximumScale = maximum_scale;
    gtk::attach(*Glib::wrap(window), options);
    return TRUE;
  } catch (const std::exception& exception) {
    return fail(error, G_IO_ERROR_FAILED, exception.what());
  }
}

}  // extern "C"
