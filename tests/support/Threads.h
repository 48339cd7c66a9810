// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <thread>
#include <vector>

namespace oq::test {

/// Runs the work in `count` threads, with the thread's number as argument. The destructor of the result joins them, so
/// a call that ignores the result waits for all threads.
template <class Work>
std::vector<std::jthread> inThreads(int count, const Work& work) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(work, number);
  return threads;
}

}  // namespace oq::test
