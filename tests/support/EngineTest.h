// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Date.h"
#include "support/ScriptedTransport.h"

namespace oq::test {

/// An engine that records the windows it would show. A test acts as the user by calling a window's `action`.
class RecordingEngine : public OQSDKManager {
 public:
  struct Shown {
    std::shared_ptr<OQWindowData> window;
    WindowAction action;
  };
  std::vector<Shown> shown() const {
    std::lock_guard lock(_mutex);
    return _shown;
  }
  std::vector<std::string> shownIds() const;
  /// Removes the shown windows. Otherwise their references would keep the engine alive.
  void closeAll();

 protected:
  void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) override {
    std::lock_guard lock(_mutex);
    _shown.push_back({window, std::move(action)});
  }

 private:
  mutable std::mutex _mutex;
  std::vector<Shown> _shown;
};

/// An isolated environment for each test: an empty data folder, a clock that the test sets (initially noon of 10 March
/// 2026), a scripted network, no output of the platform log, and the test's thread as the main thread.
class WorldTest : public ::testing::Test {
 protected:
  WorldTest();
  ~WorldTest() override;

  void setNow(const std::string& text);
  void moveClock(double seconds) {
    setDate(_now + std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(seconds)));
  }
  /// The log entries since the start of the test, without their times.
  std::vector<std::string> logEntries() const;
  /// The same without the entries of requests. Of the remaining entries, the first `known` are left out.
  std::vector<std::string> logEntriesButRequests(std::size_t known = 0) const;
  const std::filesystem::path& folder() const { return _folder; }

  std::shared_ptr<ScriptedTransport> network = std::make_shared<ScriptedTransport>();

 private:
  void setDate(Date date);

  std::filesystem::path _folder;
  Date _now;
  std::uintmax_t _logStart = 0;
};

class EngineTest : public WorldTest {
 protected:
  EngineTest() { relaunch(); }
  ~EngineTest() override;
  /// Destroys the engine, as at the end of a process.
  void quit();
  /// Destroys the engine and creates a new one, as at the next start of the process.
  void relaunch();
  /// Waits for all responses and runs the blocks they posted to the main queue, until nothing is left.
  void settle();
  void deliverInApp(const JSONArray& records);
  void deliverSubscriptions(const JSONArray& records);
  void receive(const std::string& name, const JSONDictionary& context = {});
  /// The records in the file of the record tree: pairs of campaign id and display count. Empty without a file.
  std::vector<std::pair<std::int64_t, std::int64_t>> usedCountsOnDisk() const;

  std::shared_ptr<RecordingEngine> engine;
};

/// A campaign as the server sends it. `extra` adds or replaces keys.
JSONValue campaign(const std::string& id, const std::string& eventName, const JSONDictionary& extra = {});
JSONValue listAnswer(const JSONArray& records);
JSONValue uploadInfo(const std::string& name, const JSONDictionary& context = {});
std::string textOf(const JSONValue& value);

}  // namespace oq::test
