// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cxxabi.h>

#include <exception>
#include <utility>

namespace oq {

/// Runs the work and lets no exception reach the caller: for calls from a host and callbacks on background threads,
/// where an exception would end the host. The rest of the work is skipped silently, as for other invalid input. The
/// forced unwinding of a cancelled thread is not stopped.
template <class Work>
void guarded(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception&) {
  }
}

/// The same for a callback of the host, which may throw anything.
template <class Work>
void callHost(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
  }
}

}  // namespace oq
