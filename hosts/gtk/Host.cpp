// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include <glib.h>

#include <algorithm>
#include <cmath>

#include "Surface.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"
#include "UIKit/Windows/UIWindow.h"

namespace oq::gtk {

std::shared_ptr<Host> Host::shared() {
  static std::weak_ptr<Host> current;
  auto host = current.lock();
  if (!host) current = host = std::make_shared<Host>();
  return host;
}

Host::Host() : _self(std::make_shared<Host*>(this)) {
  _timer = std::make_shared<DispatchTimer>([self = std::weak_ptr<Host*>(_self)] {
    if (auto host = self.lock()) (*host)->deadlineReached();
  });
  watchSettings();
}

Host::~Host() {
  _timer->cancel();
  if (_settings) g_signal_handler_disconnect(_settings, _animationsHandler);
  g_clear_object(&_settings);
}

/// The user may want no animations, and may change that setting.
void Host::watchSettings() {
  _settings = gtk_settings_get_default();
  if (!_settings) return;
  g_object_ref(_settings);
  _animationsHandler = g_signal_connect(_settings, "notify::gtk-enable-animations", G_CALLBACK(animationsSet), nullptr);
  animationsSet(G_OBJECT(_settings), nullptr, nullptr);
}

void Host::animationsSet(GObject* settings, GParamSpec*, gpointer) {
  gboolean enabled = TRUE;
  g_object_get(settings, "gtk-enable-animations", &enabled, nullptr);
  // Not 0: the end of an animation waits for a frame, which shows whether frames still come.
  AnimationEngine::shared().setEnabled(enabled, 0.001);
}

double Host::now() const {
  return static_cast<double>(g_get_monotonic_time()) / G_USEC_PER_SEC;
}

void Host::setNeedsFrame(UIWindow& window) {
  if (Surface* surface = surfaceOf(window)) surface->treeChanged();
}

Surface* Host::surfaceOf(const UIWindow& window) const {
  for (Surface* surface : _surfaces) {
    if (surface->window().get() == &window) return surface;
  }
  return nullptr;
}

void Host::setDeadline(double deadline) {
  if (deadline == _deadline) return;
  _deadline = deadline;
  _frameAwaitedSince.reset();
  arm();
}

void Host::arm() {
  // An armed timer that is no longer needed still fires once; deadlineReached() checks the time itself.
  if (!std::isfinite(_deadline)) return;
  _timer->setTimer(static_cast<std::int64_t>(std::max(0.0, _deadline - now()) * 1e9), 0);
}

void Host::deadlineReached() {
  if (!std::isfinite(_deadline)) return;
  double time = now();
  if (time < _deadline) return arm();
  if (awaitFrame(time)) return;
  // Cleared first, so that the same deadline can be set again.
  _deadline = std::numeric_limits<double>::infinity();
  _frameAwaitedSince.reset();
  UIApplication::sharedApplication().step(time);
}

/// True while a frame may still come; that frame ends the animations that are over. GTK runs timers before frames that
/// are due. A frame that is slow to paint does not count as held back.
bool Host::awaitFrame(double time) {
  constexpr double patience = 0.1;  // seconds
  if (_frameAwaitedSince) {
    for (Surface* surface : _surfaces) surface->checkFrames(*_frameAwaitedSince);
    return false;
  }
  const bool isAwaited =
      std::any_of(_surfaces.begin(), _surfaces.end(), [](const Surface* surface) { return surface->awaitsFrame(); });
  if (!isAwaited) return false;
  _frameAwaitedSince = time;
  _timer->setTimer(static_cast<std::int64_t>(patience * 1e9), 0);
  return true;
}

void Host::add(Surface& surface) {
  _surfaces.push_back(&surface);
  updateScreen();
}

void Host::remove(Surface& surface) {
  if (std::erase(_surfaces, &surface) > 0) updateScreen();
}

Surface* Host::screenSurface() const {
  Surface* first = nullptr;
  for (const auto& scene : UIApplication::sharedApplication().connectedScenes()) {
    Surface* surface = scene->windows().empty() ? nullptr : surfaceOf(*scene->windows().front());
    if (!surface) continue;
    if (scene->activationState() == UISceneActivationState::ForegroundActive) return surface;
    if (!first) first = surface;
  }
  return first;
}

void Host::updateScreen() {
  Surface* surface = screenSurface();
  if (!surface) return;
  UIScreen::mainScreen().setBounds({{}, surface->stage().size});
  UIScreen::mainScreen().setScale(surface->window()->contentScale());
}

}  // namespace oq::gtk
