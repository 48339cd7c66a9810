// SPDX-License-Identifier: Apache-2.0
#include "support/EngineTest.h"

#include <boost/json/serialize.hpp>

#include <fstream>
#include <regex>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Format.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "support/ScratchFolder.h"

namespace oq::test {

namespace {

std::uintmax_t logSize() {
  OQLogger::getInstance().flush();
  return std::filesystem::file_size(OQLogger::getInstance().logFilePath());
}

/// The time at the beginning of each entry.
const std::regex stamp(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}  )");

}  // namespace

std::vector<std::string> RecordingEngine::shownIds() const {
  std::vector<std::string> ids;
  for (const Shown& each : shown()) ids.push_back(descriptionOf(each.window->windowId()));
  return ids;
}

void RecordingEngine::closeAll() {
  std::vector<Shown> closed;
  std::lock_guard lock(_mutex);
  closed.swap(_shown);
}

WorldTest::WorldTest() : _folder(freshFolder()) {
  closeAllUserDefaults();
  setApplicationDataDirectory(_folder);
  DispatchQueue::installMain();
  setPlatformLogHandler([](std::string_view) {});
  setNow("2026-03-10 12:00:00");
  setURLTransport(network);
  _logStart = logSize();
}

WorldTest::~WorldTest() {
  EXPECT_TRUE(network->settle());
  DispatchQueue::drainMain();
  setURLTransport(nullptr);
  setCurrentDateProvider({});
  setPlatformLogHandler({});
}

void WorldTest::setNow(const std::string& text) {
  setDate(OQUtils::dateFromString(JSONValue(text)).value());
}

void WorldTest::setDate(Date date) {
  _now = date;
  setCurrentDateProvider([date] { return date; });
}

std::vector<std::string> WorldTest::logEntries() const {
  std::vector<std::string> entries;
  OQLogger::getInstance().flush();
  std::ifstream text(OQLogger::getInstance().logFilePath());
  text.seekg(static_cast<std::streamoff>(_logStart));
  std::smatch found;
  for (std::string line; std::getline(text, line);) {
    if (std::regex_search(line, found, stamp, std::regex_constants::match_continuous)) {
      entries.push_back(found.suffix());
    } else {
      entries.back() += "\n" + line;
    }
  }
  return entries;
}

std::vector<std::string> WorldTest::logEntriesButRequests(std::size_t known) const {
  std::vector<std::string> entries = logEntries();
  std::erase_if(entries, [](const std::string& entry) { return entry.starts_with("请求URL："); });
  entries.erase(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(known));
  return entries;
}

EngineTest::~EngineTest() {
  quit();
}

void EngineTest::quit() {
  settle();
  if (!engine) return;
  engine->closeAll();
  EXPECT_EQ(engine.use_count(), 1) << "there is still a reference to the engine";
  engine.reset();
}

void EngineTest::relaunch() {
  quit();
  closeAllUserDefaults();
  engine = std::make_shared<RecordingEngine>();
}

void EngineTest::settle() {
  do {
    ASSERT_TRUE(network->settle());
  } while (DispatchQueue::drainMain() > 0);
}

void EngineTest::deliverInApp(const JSONArray& records) {
  network->answer("/push/sdk/in_app", textOf(listAnswer(records)));
  engine->getInAppList();
  settle();
}

void EngineTest::deliverSubscriptions(const JSONArray& records) {
  network->answer("/push/sdk/event/subscribe", textOf(listAnswer(records)));
  engine->getSubscribeList();
  settle();
}

void EngineTest::receive(const std::string& name, const JSONDictionary& context) {
  engine->onEventDataReceived(uploadInfo(name, context));
  settle();
}

std::vector<std::pair<std::int64_t, std::int64_t>> EngineTest::usedCountsOnDisk() const {
  std::vector<std::pair<std::int64_t, std::int64_t>> counts;
  const auto nodes = OQDataArchiver::getDataForPath<OQRecordTreeNode>(documentsDirectory() / OQRecordTreeDataFileName);
  if (!nodes) return counts;
  for (const auto& node : *nodes) counts.emplace_back(node->nodeId(), node->usedCount());
  return counts;
}

JSONValue campaign(const std::string& id, const std::string& eventName, const JSONDictionary& extra) {
  JSONDictionary record{{"id", id},
                        {"count", 1},
                        {"style", 3},
                        {"startTime", "2026-03-01 00:00:00"},
                        {"endTime", "2026-03-31 23:59:59"},
                        {"picture", "https://pictures.invalid/" + id + ".png"},
                        {"event", {{"xwhat", eventName}}}};
  for (const auto& [key, value] : extra) record[key] = value;
  return record;
}

JSONValue listAnswer(const JSONArray& records) {
  return {{"code", 0}, {"data", records}};
}

JSONValue uploadInfo(const std::string& name, const JSONDictionary& context) {
  return {{"xwho", "ann"}, {"appid", "shop"}, {"xwhat", name}, {"xwhen", 1.0}, {"xcontext", context}};
}

std::string textOf(const JSONValue& value) {
  return boost::json::serialize(value);
}

}  // namespace oq::test
