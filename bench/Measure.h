// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "support/ScratchFolder.h"

/// Shared by the benchmarks: rounds, medians, and the result lines that run.sh reads.
/// A machine can be slow for a while. So both sides of a comparison are measured alternately in the same run and
/// compared round by round: a slow period then affects both.
namespace oq::bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The duration of one call in seconds.
template <class Run>
double secondsOf(Run&& run) {
  const auto start = Clock::now();
  run();
  return secondsSince(start);
}

/// The calling thread's processor time for one call, in seconds. Use it for work that never waits: unlike secondsOf(),
/// it does not count the time in which other processes run.
template <class Run>
double ownSecondsOf(Run&& run) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  const double start = now();
  run();
  return now() - start;
}

/// Returns a percentile of the samples; `part` is 0 to 1. The median of an even number of samples is the upper one of
/// the two in the middle. Returns 0 if there are no samples.
inline double percentile(std::vector<double> samples, double part) {
  if (samples.empty()) return 0;
  const auto last = static_cast<double>(samples.size() - 1);
  const auto at = static_cast<std::ptrdiff_t>(std::ceil(part * last));
  std::nth_element(samples.begin(), samples.begin() + at, samples.end());
  return samples[static_cast<std::size_t>(at)];
}

inline double median(const std::vector<double>& samples) {
  return percentile(samples, 0.5);
}

/// Calls every run once per round and returns their results (mostly seconds). The order changes from round to round,
/// since each run affects caches and the heap for the next. An additional first round is not counted.
template <class... Runs>
std::array<std::vector<double>, sizeof...(Runs)> inTurns(int rounds, Runs&&... runs) {
  std::array<std::vector<double>, sizeof...(Runs)> samples;
  std::array<std::size_t, sizeof...(Runs)> order;
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::mt19937 random(20260310);  // the same order in every run of the program
  for (int round = -1; round < rounds; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    for (std::size_t turn : order) {
      std::size_t index = 0;
      auto take = [&](auto& run) {
        if (index++ != turn) return;
        const double sample = run();
        if (round >= 0) samples[turn].push_back(sample);
      };
      (take(runs), ...);
    }
  }
  return samples;
}

/// The median of the quotients of all rounds.
inline double medianRatio(const std::vector<double>& above, const std::vector<double>& below) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(above.size(), below.size()); ++i) ratios.push_back(above[i] / below[i]);
  return median(ratios);
}

/// Prints a figure that has a goal: "RATIO name value goal>=G". If the figure has a unit, its name ends with it
/// ("..._ns").
inline void atLeast(const std::string& name, double value, double goal) {
  std::printf("RATIO %s %.4g goal>=%g\n", name.c_str(), value, goal);
  std::fflush(stdout);
}
inline void atMost(const std::string& name, double value, double goal) {
  std::printf("RATIO %s %.4g goal<=%g\n", name.c_str(), value, goal);
  std::fflush(stdout);
}

/// Prints a figure without a goal.
inline void note(const std::string& name, double value, const std::string& unit) {
  std::printf("note  %s %.4g %s\n", name.c_str(), value, unit.c_str());
  std::fflush(stdout);
}

/// Ends the benchmark if the measured code does not work: its figures would be meaningless.
inline void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

/// Stops the compiler from removing the computation of the value.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

/// A folder in $TMPDIR or /tmp. It must be on a real disk to measure writing.
using test::ScratchFolder;

}  // namespace oq::bench
