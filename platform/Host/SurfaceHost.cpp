// SPDX-License-Identifier: Apache-2.0
#include "Host/SurfaceHost.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>

#include "Host/HostSurface.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

namespace {

/// Seconds to wait for a frame that was requested.
constexpr double kFramePatience = 0.1;
/// Seconds between frames of an animation.
constexpr double kFrame = 1.0 / 60;
/// A deadline counts as reached this many seconds early, because times are rounded. Animations have such a tolerance,
/// too.
constexpr double kTimeRounding = 1e-6;

/// The main thread is moving animations on in pump(). The same pump() runs the blocks that they queue, so no wake is
/// needed.
thread_local bool isPumping = false;

struct PumpScope {
  PumpScope() { isPumping = true; }
  ~PumpScope() { isPumping = false; }
};

bool isReached(double deadline, double time) {
  return time >= deadline - kTimeRounding;
}

std::int64_t nanoseconds(double seconds) {
  return static_cast<std::int64_t>(std::max(0.0, seconds) * 1e9);
}

}  // namespace

SurfaceHost::SurfaceHost() : _self(std::make_shared<SurfaceHost*>(this)) {
  _timer = std::make_unique<DispatchTimer>([self = std::weak_ptr<SurfaceHost*>(_self)] {
    if (const auto host = self.lock()) (*host)->deadlineReached();
  });
}

SurfaceHost::SurfaceHost(const HostedApplication& application, MainLoop loop) : SurfaceHost() {
  prepareProcess(application, loop);
}

SurfaceHost::~SurfaceHost() {
  _timer->cancel();
}

double SurfaceHost::now() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void SurfaceHost::setNeedsFrame(UIWindow& window) {
  if (HostSurface* surface = surfaceOf(window)) surface->treeChanged();
}

HostSurface* SurfaceHost::surfaceOf(const UIWindow& window) const {
  const auto found = std::find_if(_surfaces.begin(), _surfaces.end(),
                                  [&](const HostSurface* surface) { return surface->window().get() == &window; });
  return found == _surfaces.end() ? nullptr : *found;
}

void SurfaceHost::setAnimationsEnabled(bool enabled) {
  // The shortest duration is not 0, so that an animation still ends with a frame. Whether this frame comes shows
  // whether the window still gets frames.
  AnimationEngine::shared().setEnabled(enabled, 0.001);
}

void SurfaceHost::setDeadline(double deadline) {
  if (deadline == _deadline) return;
  _deadline = deadline;
  _frameAwaitedSince.reset();
  arm();
}

void SurfaceHost::arm() {
  // An armed timer that is no longer needed still fires once; deadlineReached() checks the time itself.
  if (std::isfinite(_deadline)) _timer->setTimer(nanoseconds(_deadline - now()), 0);
}

void SurfaceHost::deadlineReached() {
  if (!std::isfinite(_deadline)) return;
  const double time = now();
  if (!isReached(_deadline, time)) return arm();
  if (awaitFrame(time)) return;
  // Cleared first, so that the same deadline can be set again.
  _deadline = std::numeric_limits<double>::infinity();
  _frameAwaitedSince.reset();
  UIApplication::sharedApplication().step(time);
}

double SurfaceHost::pump(double budget) {
  // Animations first, so that the blocks that they queue run in this pass. Otherwise each frame would need a second
  // pass.
  {
    const PumpScope scope;
    moveAnimations(now());
  }
  DispatchQueue::drainMain(budget);
  if (!DispatchQueue::isMainEmpty()) return 0;
  const double next = AnimationEngine::shared().isRunning() ? _lastStep + kFrame : _deadline;
  return std::max(0.0, next - now());
}

/// Moves animations on once for each frame, however often this function is called. Half a frame after the last step is
/// enough, because a display may paint a frame early.
void SurfaceHost::moveAnimations(double time) {
  const bool isRunning = AnimationEngine::shared().isRunning();
  if (isRunning && !isReached(_lastStep + kFrame / 2, time)) return;
  _lastStep = time;
  if (isReached(_deadline, time)) return deadlineReached();
  if (isRunning) UIApplication::sharedApplication().step(time);
}

void SurfaceHost::setWake(std::function<void()> wake) {
  if (!wake) return DispatchQueue::setMainWake(nullptr);
  DispatchQueue::setMainWake([wake = std::move(wake)] {
    if (!isPumping) wake();
  });
}

/// Whether a reached deadline has to wait for a frame that is still expected. This frame ends the animations whose time
/// is over, so the deadline need not do it. The wait is necessary because toolkits run timers before frames that are
/// due, and a window whose frame is slow to paint must not count as held back.
bool SurfaceHost::awaitFrame(double time) {
  const double since = _frameAwaitedSince.value_or(time);
  const bool isAwaited = std::any_of(_surfaces.begin(), _surfaces.end(),
                                     [&](const HostSurface* surface) { return surface->awaitsFrame(since); });
  if (_frameAwaitedSince) {
    // pump() may call this function before the timer fires.
    if (isAwaited && !isReached(since + kFramePatience, time)) return true;
    for (HostSurface* surface : _surfaces) surface->checkFrames(since);
    return false;
  }
  if (!isAwaited) return false;
  _frameAwaitedSince = time;
  _timer->setTimer(nanoseconds(kFramePatience), 0);
  return true;
}

void SurfaceHost::add(HostSurface& surface) {
  _surfaces.push_back(&surface);
  updateScreen();
}

void SurfaceHost::remove(HostSurface& surface) {
  if (std::erase(_surfaces, &surface) > 0) updateScreen();
}

HostSurface* SurfaceHost::screenSurface() const {
  HostSurface* first = nullptr;
  for (const auto& scene : UIApplication::sharedApplication().connectedScenes()) {
    HostSurface* surface = scene->windows().empty() ? nullptr : surfaceOf(*scene->windows().front());
    if (!surface) continue;
    if (scene->activationState() == UISceneActivationState::ForegroundActive) return surface;
    if (!first) first = surface;
  }
  return first;
}

void SurfaceHost::updateScreen() {
  const HostSurface* surface = screenSurface();
  if (!surface) return;
  UIScreen::mainScreen().setBounds({{}, surface->stage().size});
  UIScreen::mainScreen().setScale(surface->window()->contentScale());
}

}  // namespace oq
