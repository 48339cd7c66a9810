// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "Host/HostInstallation.h"
#include "Host/SurfaceHost.h"

namespace oq::sdl {

/// The host of SDL windows. It has no web engine. Owned jointly by the overlays; it is installed with the first overlay
/// and removed with the last one. When the library has work, it pushes an event, so that a loop that waits for events
/// wakes up. Main thread only.
class Host : public SurfaceHost {
 public:
  /// Returns the current host; creates one if there is none.
  static std::shared_ptr<Host> shared(const HostedApplication& application, bool animations);
  static bool exists() { return !current().expired(); }
  Host(const HostedApplication& application, bool animations);
  ~Host() override;

  /// SDL's type of the events that this host pushes.
  std::uint32_t wakeType() const { return _wakeType; }
  /// To be called when an event of this host has arrived. Until then no other one is pushed.
  void noteWake() { _wakes->store(false); }

 private:
  static std::weak_ptr<Host>& current();

  const std::uint32_t _wakeType;
  const std::shared_ptr<std::atomic<bool>> _wakes = std::make_shared<std::atomic<bool>>(false);
  const HostInstallation _installation{*this, nullptr};  ///< declared last: it makes this host callable
};

}  // namespace oq::sdl
