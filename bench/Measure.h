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

/// What the benchmarks share: rounds, medians, and the lines that run.sh reads.
///
/// Machines are noisy, and noise comes in stretches. Whatever is compared is therefore measured in turns, in
/// the same run, and compared round by round: a slow stretch then hits both sides.
namespace oq::bench {

using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// Seconds that one call takes.
template <class Run>
double secondsOf(Run&& run) {
  const auto start = Clock::now();
  run();
  return secondsSince(start);
}

/// The same in the calling thread's own time, for work that waits for nobody: a short run then does not count
/// what the machine does for others meanwhile.
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

/// Of an even number of samples the upper of the two in the middle; 0 of none.
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

/// Calls every run once a round and keeps what they return (seconds, mostly). The order changes from round to
/// round, since what ran before leaves its mark on caches and on the heap; one more round comes first and is
/// forgotten.
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

/// The median of the quotients, round by round.
inline double medianRatio(const std::vector<double>& above, const std::vector<double>& below) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(above.size(), below.size()); ++i) ratios.push_back(above[i] / below[i]);
  return median(ratios);
}

/// The line of a figure that has a goal: "RATIO name value goal>=G". Figures that are no quotients carry
/// their unit in the name ("..._ns").
inline void atLeast(const std::string& name, double value, double goal) {
  std::printf("RATIO %s %.4g goal>=%g\n", name.c_str(), value, goal);
  std::fflush(stdout);
}
inline void atMost(const std::string& name, double value, double goal) {
  std::printf("RATIO %s %.4g goal<=%g\n", name.c_str(), value, goal);
  std::fflush(stdout);
}

/// A figure for information.
inline void note(const std::string& name, double value, const std::string& unit) {
  std::printf("note  %s %.4g %s\n", name.c_str(), value, unit.c_str());
  std::fflush(stdout);
}

/// Ends the benchmark when what it measures does not do what it should: such a figure would mean nothing.
inline void require(bool holds, const std::string& what) {
  if (!holds) throw std::runtime_error(what);
}

/// The compiler keeps what computes the value.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

/// An empty folder below $TMPDIR (else /tmp) that goes with the object. What writes to disk is only worth
/// measuring where that is a disk.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "oqsdk-bench-XXXXXX").string();
    require(::mkdtemp(pattern.data()) != nullptr, "no folder for the benchmark");
    _path = pattern;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }

 private:
  std::filesystem::path _path;
};

}  // namespace oq::bench
