#include "Host.h"

#include <glib.h>

#include <algorithm>
#include <cmath>

#include "Surface.h"
#include "UIKit/UIApplication.h"
#include "UIKit/UIScreen.h"
#include "UIKit/UIWindow.h"
#include "WebKit/WebEngineRegistry.h"

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
  UIApplication::sharedApplication().setHost(this);
  setWebEngine(&_webPages);
}

Host::~Host() {
  _timer->cancel();
  setWebEngine(nullptr);
  UIApplication::sharedApplication().setHost(nullptr);
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
  arm();
}

void Host::arm() {
  // An armed timer that nobody waits for any more is left to fire once: deadlineReached() looks for itself.
  if (!std::isfinite(_deadline)) return;
  _timer->setTimer(static_cast<std::int64_t>(std::max(0.0, _deadline - now()) * 1e9), 0);
}

void Host::deadlineReached() {
  if (!std::isfinite(_deadline)) return;
  double time = now();
  if (time < _deadline) return arm();
  // Forgotten first, so that the same deadline can be set again.
  _deadline = std::numeric_limits<double>::infinity();
  UIApplication::sharedApplication().step(time);
}

void Host::add(Surface& surface) {
  _surfaces.push_back(&surface);
  updateScreen();
}

void Host::remove(Surface& surface) {
  if (std::erase(_surfaces, &surface) > 0) updateScreen();
}

Surface* Host::screenSurface() const {
  const auto active = std::find_if(_surfaces.begin(), _surfaces.end(), [](Surface* each) { return each->isActive(); });
  if (active != _surfaces.end()) return *active;
  return _surfaces.empty() ? nullptr : _surfaces.front();
}

void Host::updateScreen() {
  Surface* surface = screenSurface();
  if (!surface) return;
  UIScreen::mainScreen().setBounds({{}, surface->stage().size});
  UIScreen::mainScreen().setScale(surface->window()->contentScale());
}

}  // namespace oq::gtk
