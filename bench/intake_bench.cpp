// SPDX-License-Identifier: Apache-2.0

/// The complete intake of events: log entry, user id, matching against a thousand campaigns, decision log.
#include <thread>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"
#include "Measure.h"
#include "Model/OQWindowData.h"
#include "Utils/OQLogger.h"

namespace {

using namespace oq;
using namespace oq::bench;

OQCampaignList::Windows campaigns() {
  OQCampaignList::Windows windows;
  for (int i = 0; i < 1000; ++i) {
    auto window = std::make_shared<OQWindowData>();
    window->setModelWithDic(
        {{"id", std::to_string(i)},
         {"event", {{"xwhat", "event_" + std::to_string(i % 100)}, {"xcontext", {{"sku", std::to_string(i)}}}}}});
    windows.push_back(std::move(window));
  }
  return windows;
}

/// Events with the properties of a typical shop. Half of the names occur in conditions of campaigns.
std::vector<JSONValue> uploads() {
  std::vector<JSONValue> infos;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = (i % 2 ? "event_" : "page_") + std::to_string(i % 100);
    infos.push_back({{"appid", "shop"},
                     {"xwho", "user-4711"},
                     {"xwhat", name},
                     {"xwhen", 1773144000000.0},
                     {"xcontext", {{"sku", std::to_string(i)}, {"page", "cart"}, {"price", 12.5}}}});
  }
  return infos;
}

double secondsPerEvent(OQSDKManager& engine, const std::vector<JSONValue>& infos, int events) {
  const double seconds = secondsOf([&] {
    for (int i = 0; i < events; ++i) engine.onEventDataReceived(infos[static_cast<std::size_t>(i) % infos.size()]);
  });
  OQLogger::getInstance().flush();
  return seconds / events;
}

double secondsPerEventFromThreads(OQSDKManager& engine, const std::vector<JSONValue>& infos, int events, int count) {
  const double seconds = secondsOf([&] {
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
      threads.emplace_back([&] {
        for (int i = 0; i < events / count; ++i) {
          engine.onEventDataReceived(infos[static_cast<std::size_t>(i) % infos.size()]);
        }
      });
    }
    for (auto& thread : threads) thread.join();
  });
  OQLogger::getInstance().flush();
  return seconds / events;
}

double medianOfSingleEvents(OQSDKManager& engine, const std::vector<JSONValue>& infos) {
  std::vector<double> samples;
  for (int i = 0; i < 50000; ++i) {
    const JSONValue& info = infos[static_cast<std::size_t>(i) % infos.size()];
    samples.push_back(secondsOf([&] { engine.onEventDataReceived(info); }));
  }
  OQLogger::getInstance().flush();
  return median(samples);
}

}  // namespace

int main() {
  const ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  DispatchQueue::installMain();
  setPlatformLogHandler([](std::string_view) {});
  const auto engine = std::make_shared<OQSDKManager>();
  engine->setInAppDataArray(campaigns());
  OQCampaignList::Windows subscriptions;
  subscriptions.push_back(std::make_shared<OQWindowData>());
  engine->setSubscribeDataArray(subscriptions);
  const std::vector<JSONValue> infos = uploads();
  const auto [one, four, single] = inTurns(
      7, [&] { return secondsPerEvent(*engine, infos, 100000); },
      [&] { return secondsPerEventFromThreads(*engine, infos, 100000, 4); },
      [&] { return medianOfSingleEvents(*engine, infos); });
  note("intake_own_time_us", ownSecondsOf([&] { secondsPerEvent(*engine, infos, 100000); }) * 1e6 / 100000, "us");
  atLeast("intake_events_per_second", 1 / median(one), 500000);
  atMost("intake_p50_us", median(single) * 1e6, 1.5);
  atLeast("intake_4_threads_to_1", medianRatio(one, four), 1);
}
