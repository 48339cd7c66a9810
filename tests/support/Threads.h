#pragma once

#include <thread>
#include <vector>

namespace oq::test {

/// Runs the work in so many threads, each with its number. The end of what is given back waits for them, so that a call
/// whose result nobody keeps returns when all are done.
template <class Work>
std::vector<std::jthread> inThreads(int count, const Work& work) {
  std::vector<std::jthread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(work, number);
  return threads;
}

}  // namespace oq::test
