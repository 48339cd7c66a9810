// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <mutex>

namespace oq {

/// Locks the mutex. If that takes longer than `patience`, the returned lock is unlocked.
inline std::unique_lock<std::timed_mutex> lockWithin(std::timed_mutex& mutex, std::chrono::seconds patience) {
  std::unique_lock lock(mutex, std::try_to_lock);
  // Uses the system clock, because ThreadSanitizer does not support waits on the steady clock.
  if (!lock) (void)lock.try_lock_until(std::chrono::system_clock::now() + patience);
  return lock;
}

}  // namespace oq
