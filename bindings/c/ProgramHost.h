// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Host/HostInstallation.h"
#include "Host/SurfaceHost.h"

namespace oq::c {

/// The host of a program that calls oq_init(): the program runs the loop and shows the pixels. Main thread only, with
/// the exception of isGone().
class ProgramHost : public SurfaceHost {
 public:
  ProgramHost(const HostedApplication& application, bool animations);
  ~ProgramHost() override;

  /// nullptr before oq_init() and after oq_shutdown().
  static ProgramHost* shared();
  /// Throws a Failure if there is no host.
  static ProgramHost& required();
  static void install(const HostedApplication& application, bool animations);
  static void uninstall();
  /// Whether there was a host, and oq_shutdown() has uninstalled it. Any thread.
  static bool isGone();

 private:
  const HostInstallation _installation{*this, nullptr};
};

}  // namespace oq::c
