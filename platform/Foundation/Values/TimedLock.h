#pragma once

#include <chrono>
#include <mutex>

namespace oq {

/// Owns nothing when others do not make way in time.
inline std::unique_lock<std::timed_mutex> lockWithin(std::timed_mutex& mutex, std::chrono::seconds patience) {
  std::unique_lock lock(mutex, std::try_to_lock);
  // By the clock of the day, since a race detector does not know waits by the other one.
  if (!lock) (void)lock.try_lock_until(std::chrono::system_clock::now() + patience);
  return lock;
}

}  // namespace oq
