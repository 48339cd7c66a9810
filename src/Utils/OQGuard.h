#pragma once

#include <exception>
#include <utility>

namespace oq {

/// Runs the work and lets no exception reach the caller: for what a host calls and for what a background
/// thread calls back, where an exception would end the host. What remains undone is dropped without a word,
/// as any other bad input. The unwinding of a thread that is cancelled is no exception, and passes.
template <class Work>
void guarded(Work&& work) {
  try {
    std::forward<Work>(work)();
  } catch (const std::exception&) {
  }
}

}  // namespace oq
