// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <utility>

namespace oq {

/// Runs the work and lets no std::exception reach the caller: for calls from a host and callbacks on background
/// threads, where an exception would end the host. After an exception the rest of the work is skipped silently, like
/// other invalid input. The forced unwinding of a cancelled thread is not stopped.
template <class Work>
void guarded(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception&) {
  }
}

}  // namespace oq
