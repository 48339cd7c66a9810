// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Utils/OQLogger.h"
#include "support/EngineTest.h"
#include "support/ImmediateTransport.h"
#include "support/Threads.h"

namespace oq::test {
namespace {

constexpr int kSoakWindows = 50;

double residentMegabytes() {
  std::size_t total = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return static_cast<double>(resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE))) / 1e6;
}

std::ptrdiff_t descriptorCount() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// The same windows in a different order each time; some have a pre-condition.
std::string answerOf(int turn) {
  JSONArray records;
  for (int i = 0; i < kSoakWindows; ++i) {
    const int id = (i + turn) % kSoakWindows;
    const JSONValue awaited = id % 10 == 0 ? JSONValue{{"xwhat", "e1"}} : JSONValue();
    records.push_back(
        campaign(std::to_string(id), "e" + std::to_string(id),
                 {{"count", 1'000'000'000}, {"preEvent", awaited}, {"picture", "https://pictures.invalid/one.png"}}));
  }
  return textOf(listAnswer(records));
}

void bringEvents(OQSDKManager& engine, std::int64_t count, unsigned seed) {
  std::mt19937 random(seed);
  for (std::int64_t i = 0; i < count; ++i) {
    engine.onEventDataReceived(
        uploadInfo("e" + std::to_string(random() % (2 * kSoakWindows)), {{"k", std::to_string(random() % 1000)}}));
  }
}

/// OQSDK_SOAK_EVENTS sets a larger number of events.
TEST_F(EngineTest, MemoryAndDescriptorsStayFlatOverManyEvents) {
  constexpr int sections = 100, threads = 4;
  const char* asked = std::getenv("OQSDK_SOAK_EVENTS");
  const std::int64_t events = asked ? std::atoll(asked) : 20'000;
  std::atomic<int> lists{0};
  setURLTransport(std::make_shared<ImmediateTransport>([&](const std::string& path) {
    if (path == "/push/sdk/in_app") return std::optional(answerOf(lists++));
    return std::optional(textOf(listAnswer({campaign("1", "e1")})));
  }));
  engine->getSubscribeList();
  double early = 0;
  std::ptrdiff_t earlyDescriptors = 0;
  std::size_t shown = 0;
  for (int section = 0; section < sections; ++section) {
    engine->getInAppList();
    if (section % 10 == 0) {
      for (const auto& node : engine->recordTree()->copyOfNodes()) node->setActivated(false);
    }
    inThreads(threads, [&](int t) {
      bringEvents(*engine, events / sections / threads, static_cast<unsigned>(section * threads + t));
    });
    settle();
    shown += engine->shown().size();
    engine->closeAll();
    OQLogger::getInstance().flush();
    // The log is not needed here, and would fill the disk.
    std::filesystem::resize_file(OQLogger::getInstance().logFilePath(), 0);
    if (section != sections / 10) continue;
    early = residentMegabytes();
    earlyDescriptors = descriptorCount();
  }
  const double late = residentMegabytes();
  std::printf(
      "[ soak     ] %lld events, %d lists, %zu windows shown: memory %.1f MB after a tenth, %.1f MB at the "
      "end; "
      "descriptors %td, %td\n",
      static_cast<long long>(events), lists.load(), shown, early, late, earlyDescriptors, descriptorCount());
  EXPECT_GT(shown, 0u);
  EXPECT_EQ(descriptorCount(), earlyDescriptors);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(late, early + 8);
#endif
}

}  // namespace
}  // namespace oq::test
