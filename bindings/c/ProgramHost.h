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
  /// Throws a Failure if this or another host is installed.
  static void install(const HostedApplication& application, bool animations);
  /// Whether the host is being uninstalled, or was, and no other host was installed since. Calls of the program fail
  /// then. Any thread.
  static bool isGone();

  /// While this object exists, isGone(), but the host still works. uninstall() ends the host; without it, for example
  /// after an exception, the host stays.
  class Closing {
   public:
    Closing();
    ~Closing();
    Closing(const Closing&) = delete;
    Closing& operator=(const Closing&) = delete;
    void uninstall();
  };

 private:
  const HostInstallation _installation{*this, nullptr};
};

}  // namespace oq::c
