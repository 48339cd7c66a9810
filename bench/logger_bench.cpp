// SPDX-License-Identifier: Apache-2.0

// The logger compared with spdlog's asynchronous file logger (a queue of 8,192 entries that blocks when it is full):
// the same entries, from one thread and from four. The time includes writing the last byte to the file.
#include <spdlog/async.h>
#include <spdlog/sinks/basic_file_sink.h>

#include <atomic>
#include <fstream>
#include <thread>

#include "Measure.h"
#include "Utils/OQLogger.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr std::size_t kEntries = 400'000;
constexpr int kRounds = 7;
const std::string kMessage =
    "xwhat:view_item xcontext:{\"category\":\"shoes\",\"price\":399,\"page\":\"ProductListController\"}";

void fromThreads(int count, const std::function<void()>& logOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      for (std::size_t n = 0; n < kEntries / static_cast<std::size_t>(count); ++n) logOnce();
    });
  }
  for (auto& thread : threads) thread.join();
}

struct Entries {
  std::size_t lines = 0, bytes = 0;
  bool operator==(const Entries&) const = default;
};

/// Counts the lines that end with the message. Other lines, such as those at the start of a log, are not counted.
Entries entriesOf(const std::filesystem::path& file) {
  Entries found;
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    if (!line.ends_with(kMessage)) continue;
    ++found.lines;
    found.bytes += line.size() + 1;
  }
  return found;
}

double ours(int threads, Entries& entries) {
  ScratchFolder folder;
  OQLogger logger(folder.path());
  const double seconds = secondsOf([&] {
    fromThreads(threads, [&] { logger._log(kMessage); });
    logger.flush();
  });
  entries = entriesOf(logger.logFilePath());
  return seconds;
}

double peers(int threads, Entries& entries) {
  ScratchFolder folder;
  const auto file = folder.path() / "spdlog.log";
  auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(file.string());
  auto logger = std::make_shared<spdlog::async_logger>("bench", sink, pool, spdlog::async_overflow_policy::block);
  logger->set_pattern("%Y-%m-%d %H:%M:%S.%e  %v");
  const double seconds = secondsOf([&] {
    fromThreads(threads, [&] { logger->info(kMessage); });
    logger->flush();
    pool.reset();  // waits for the thread, which first writes all queued entries
  });
  entries = entriesOf(file);
  return seconds;
}

void compare(int threads, double goal) {
  Entries written, peersWritten;
  auto [our, peer] = inTurns(
      kRounds, [&] { return ours(threads, written); }, [&] { return peers(threads, peersWritten); });
  require(written.lines == kEntries && written == peersWritten, "the two files do not hold the same entries");
  const std::string suffix = "_" + std::to_string(threads) + (threads == 1 ? "_thread" : "_threads");
  atLeast("logger_vs_spdlog" + suffix, medianRatio(peer, our), goal);
  note("logger" + suffix, kEntries / median(our), "entries/s");
  note("spdlog" + suffix, kEntries / median(peer), "entries/s");
}

/// The time that one log call takes in the calling thread.
template <class Log>
void noteCallerTimes(const std::string& name, Log log) {
  std::vector<double> nanoseconds(kEntries);
  for (double& each : nanoseconds) each = 1e9 * secondsOf(log);
  note(name + "_call_p50", percentile(nanoseconds, 0.5), "ns");
  note(name + "_call_p999", percentile(nanoseconds, 0.999), "ns");
}

}  // namespace

int main() {
  compare(1, 5);
  compare(4, 8);
  ScratchFolder folder;
  OQLogger logger(folder.path());
  noteCallerTimes("logger", [&] { logger._log(kMessage); });
  auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
  auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>((folder.path() / "spdlog.log").string());
  auto spdlogger = std::make_shared<spdlog::async_logger>("bench", sink, pool);
  noteCallerTimes("spdlog", [&] { spdlogger->info(kMessage); });
}
