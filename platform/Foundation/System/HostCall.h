// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cxxabi.h>

#include <utility>

namespace oq {

/// Runs a callback of the host, which may throw anything; no exception reaches the caller. The forced unwinding of a
/// cancelled thread is not stopped.
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
