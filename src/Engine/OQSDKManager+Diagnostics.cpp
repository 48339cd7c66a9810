// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>
#include <limits>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "MessageUI/MFMailComposeViewController.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Pages/OQNavigation.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQSDKBundleIdentifier.h"
#include "Utils/OQUtils.h"

namespace oq {

OQObserverListener::~OQObserverListener() = default;

namespace {

namespace fs = std::filesystem;

/// Returns the log files in the folder. Symbolic links are left out, because the library does not create any.
std::vector<fs::path> logFilesIn(const fs::path& folder) {
  auto files = enumerateDirectory(folder);
  std::erase_if(files, [&](const fs::path& file) {
    std::error_code gone;
    return file.extension() != ".log" || !fs::is_regular_file(fs::symlink_status(folder / file, gone));
  });
  return files;
}

/// The newest `most` files, in their original order.
std::vector<fs::path> newest(std::vector<fs::path> files, std::size_t most, const fs::path& folder) {
  if (files.size() <= most) return files;
  std::vector<std::pair<fs::file_time_type, std::size_t>> byAge;
  for (std::size_t i = 0; i < files.size(); ++i) {
    std::error_code gone;
    const auto written = fs::last_write_time(folder / files[i], gone);
    byAge.emplace_back(gone ? fs::file_time_type::min() : written, i);
  }
  std::sort(byAge.rbegin(), byAge.rend());
  byAge.resize(most);
  std::sort(byAge.begin(), byAge.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
  std::vector<fs::path> chosen;
  for (const auto& [age, index] : byAge) chosen.push_back(std::move(files[index]));
  return chosen;
}

/// The event in the sample resource; null if the file is missing or has another format.
JSONValue sampleEvent() {
  const auto file = pathForResource("OQSDK", "testData.json");
  const auto contents = file ? contentsOfFile(*file) : std::nullopt;
  auto sample = contents ? valueWithJSONData(*contents) : std::nullopt;
  auto* root = sample ? sample->if_object() : nullptr;
  auto* data = root ? root->if_contains("data") : nullptr;
  auto* records = data ? data->if_array() : nullptr;
  auto* first = records && !records->empty() ? records->front().if_object() : nullptr;
  auto* event = first ? first->if_contains("event") : nullptr;
  return event ? std::move(*event) : JSONValue();
}

JSONValue orNull(const std::optional<std::string>& text) {
  return text ? JSONValue(*text) : JSONValue();
}

JSONValue nameOf(const std::shared_ptr<OQWindowEvent>& condition) {
  return condition ? condition->xwhat() : JSONValue();
}

}  // namespace

void OQSDKManager::sendLogToEmail(const std::optional<std::string>& recipient,
                                  std::shared_ptr<UIViewController> controller) {
  OQLogger::getInstance().flush();  // the latest entries matter most
  const fs::path folder = documentsDirectory() / "Log";
  auto files = logFilesIn(folder);
  constexpr std::size_t most = MFMailComposeViewController::mostAttachments;
  if (files.size() > most) {
    platformLog(stringWithFormat("%@ log files stay behind, a mail carries the newest %@", files.size() - most, most));
  }
  std::vector<Data> datas;
  std::vector<std::string> names;
  for (const fs::path& file : newest(std::move(files), most, folder)) {
    // A file that was removed in the meantime is left out.
    auto contents = contentsOfFile(folder / file, std::numeric_limits<std::size_t>::max());
    if (!contents) continue;
    datas.push_back(std::move(*contents));
    names.push_back(file.string());
  }
  OQUtils::sendEmailTo(recipient, std::move(datas), std::move(names), std::move(controller));
}

void OQSDKManager::sendLogToEmail(const std::string& recipient) {
  guarded([&] {
    auto send = [recipient] {
      guarded([&] { sharedManager().sendLogToEmail(recipient, OQNavigation::currentViewController()); });
    };
    OQDispatchQueueManager::dispatchInMainThread(send, true);
  });
}

void OQSDKManager::keepRecentDecisions(std::size_t most) {
  guarded([&] { _decisions.log().setCapacity(most); });
}

void OQSDKManager::changeEnvironment() {
  guarded([] { OQUtils::changeEnvironment(); });
}

void OQSDKManager::testMultipleThread() {
  guarded([&] {
    constexpr int blocks = 10000;
    const auto queue = DispatchQueue::concurrent(OQSDK_BUNDLE_IDENTIFIER ".multipleThreadTest");
    const Block block = [self = shared_from_this()] { guarded([&] { self->onEventDataReceived(sampleEvent()); }); };
    for (int i = 0; i < blocks; ++i) queue->async(block);
  });
}

Value OQSDKManager::diagnostics() const {
  JSONArray windows, subscriptions;
  // These pointers keep the lists alive during the loops: another thread may replace the lists meanwhile.
  const auto inApp = inAppDataArray(), subscribed = subscribeDataArray();
  const auto records = recordTree();
  for (const auto& window : *inApp) {
    const auto record = records->findTreeNodeById(integerValue(window->windowId()));
    windows.push_back({{"windowId", window->windowId()},
                       {"event", nameOf(window->event())},
                       {"preEvent", nameOf(window->preEvent())},
                       {"count", record ? record->count() : window->count()},
                       {"usedCount", record ? record->usedCount() : 0},
                       {"startTime", window->startTime()},
                       {"endTime", window->endTime()}});
  }
  for (const auto& window : *subscribed)
    subscriptions.push_back({{"windowId", window->windowId()}, {"event", nameOf(window->event())}});
  const Session session = _session.values();
  JSONValue state{
      {"environment", getEnvironment()},        {"isLoggedIn", session.token.has_value()},
      {"userId", orNull(session.userId)},       {"appId", orNull(session.appid)},
      {"pageName", orNull(session.pageName)},   {"waitingEvents", waitingEvents().size() + waitingEvents1().size()},
      {"windows", std::move(windows)},          {"subscriptions", std::move(subscriptions)},
      {"decisions", _decisions.log().entries()}};
  return publicValue(std::move(state));
}

}  // namespace oq
