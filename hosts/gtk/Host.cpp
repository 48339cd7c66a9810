// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include "Surface.h"

namespace oq::gtk {

std::shared_ptr<Host> Host::shared() {
  static std::weak_ptr<Host> current;
  auto host = current.lock();
  if (!host) current = host = std::make_shared<Host>();
  return host;
}

Host::Host() {
  watchSettings();
}

Host::~Host() {
  if (_settings) g_signal_handler_disconnect(_settings, _animationsHandler);
  g_clear_object(&_settings);
}

/// Disables animations if the user wants none, and follows later changes of that setting.
void Host::watchSettings() {
  _settings = gtk_settings_get_default();
  if (!_settings) return;
  g_object_ref(_settings);
  _animationsHandler = g_signal_connect(_settings, "notify::gtk-enable-animations", G_CALLBACK(animationsSet), this);
  animationsSet(G_OBJECT(_settings), nullptr, this);
}

void Host::animationsSet(GObject* settings, GParamSpec*, gpointer self) {
  gboolean enabled = TRUE;
  g_object_get(settings, "gtk-enable-animations", &enabled, nullptr);
  static_cast<Host*>(self)->setAnimationsEnabled(enabled);
}

Surface* Host::surfaceOf(const UIWindow& window) const {
  HostSurface* surface = SurfaceHost::surfaceOf(window);
  // All surfaces of this host are widgets.
  return surface ? static_cast<Surface*>(&surface->client()) : nullptr;
}

}  // namespace oq::gtk
