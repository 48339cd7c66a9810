// SPDX-License-Identifier: Apache-2.0
#include "sdl/Host.h"

#include <SDL.h>

namespace oq::sdl {

std::weak_ptr<Host>& Host::current() {
  static std::weak_ptr<Host> host;
  return host;
}

std::shared_ptr<Host> Host::shared(const HostedApplication& application, bool animations) {
  auto host = current().lock();
  if (!host) current() = host = std::make_shared<Host>(application, animations);
  return host;
}

Host::Host(const HostedApplication& application, bool animations)
    : SurfaceHost(application, MainLoop::OfHost), _wakeType(SDL_RegisterEvents(1)) {
  setAnimationsEnabled(animations);
  setWake([type = _wakeType, wakes = _wakes] {
    if (wakes->exchange(true)) return;
    SDL_Event event{};
    event.type = type;
    // If SDL's queue is full, the loop is not waiting.
    if (SDL_PushEvent(&event) != 1) wakes->store(false);
  });
}

Host::~Host() {
  // Blocks that still wait may refer to the host.
  DispatchQueue::drainMain();
  setWake(nullptr);
}

}  // namespace oq::sdl
