// SPDX-License-Identifier: Apache-2.0
#include "c/ProgramHost.h"

#include <atomic>
#include <memory>
#include <mutex>

#include "c/Guard.h"

namespace oq::c {

namespace {

// Never destroyed at exit: other threads of the program may still use the library then.
std::unique_ptr<ProgramHost>& instance() {
  static auto& host = *new std::unique_ptr<ProgramHost>();
  return host;
}

enum class State { NotInstalled, Installed, Closing, Gone };
std::atomic<State> state = State::NotInstalled;
/// Held while a host is installed or uninstalled, which programs may try on two threads at once.
std::mutex installing;

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
  const std::lock_guard lock(installing);
  if (isHostInstalled() || (isProcessPrepared() && state != State::Gone))
    throw Failure(OQ_ERROR_STATE, "A host is installed already.");
  instance() = std::make_unique<ProgramHost>(application, animations);
  state = State::Installed;
}

bool ProgramHost::isGone() {
  const State now = state;
  return now == State::Closing || (now == State::Gone && !isHostInstalled());
}

ProgramHost::Closing::Closing() {
  const std::lock_guard lock(installing);
  if (state == State::Installed) state = State::Closing;
}

ProgramHost::Closing::~Closing() {
  const std::lock_guard lock(installing);
  if (state == State::Closing) state = State::Installed;
}

void ProgramHost::Closing::uninstall() {
  const std::lock_guard lock(installing);
  if (state != State::Closing) return;
  instance().reset();
  state = State::Gone;
}

}  // namespace oq::c
