// SPDX-License-Identifier: Apache-2.0
#include "c/ProgramHost.h"

#include <atomic>
#include <memory>

#include "c/Guard.h"

namespace oq::c {

namespace {

// Never destroyed at exit: other threads of the program may still use the library then.
std::unique_ptr<ProgramHost>& instance() {
  static auto& host = *new std::unique_ptr<ProgramHost>();
  return host;
}

std::atomic<bool> wasUninstalled = false;

}  // namespace

ProgramHost::ProgramHost(const HostedApplication& application, bool animations)
    : SurfaceHost(application, MainLoop::OfHost) {
  setAnimationsEnabled(animations);
}

ProgramHost::~ProgramHost() {
  setWake(nullptr);
}

ProgramHost* ProgramHost::shared() {
  return instance().get();
}

ProgramHost& ProgramHost::required() {
  if (!shared()) throw Failure(OQ_ERROR_STATE, "oq_init() was not called.");
  return *shared();
}

void ProgramHost::install(const HostedApplication& application, bool animations) {
  instance() = std::make_unique<ProgramHost>(application, animations);
  wasUninstalled = false;
}

void ProgramHost::uninstall() {
  if (!shared()) return;
  instance().reset();
  wasUninstalled = true;
}

bool ProgramHost::isGone() {
  return wasUninstalled;
}

}  // namespace oq::c
