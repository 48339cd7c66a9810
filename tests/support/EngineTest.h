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

/// An engine that notes what it would put on screen, and plays the user's part when told to.
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
  /// Takes the windows off; each holds the engine as long as it is shown.
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

/// A world of its own for each test: an empty data folder, a clock in the test's hand that stands at noon of
/// 10 March 2026, a scripted network, a silent platform log, and the test's thread as the main thread.
class WorldTest : public ::testing::Test {
 protected:
  WorldTest();
  ~WorldTest() override;

  void setNow(const std::string& text);
  void moveClock(double seconds) {
    setDate(_now + std::chrono::duration_cast<Date::duration>(std::chrono::duration<double>(seconds)));
  }
  /// Entries of the log since the test began, without their times.
  std::vector<std::string> logEntries() const;
  /// The same without the entries that announce requests, and without so many of the first ones.
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
  ~EngineTest() override;
  /// Ends the process's life as far as the engine is concerned.
  void quit();
  /// The same, and begins the next life.
  void relaunch();
  /// Waits for all answers, then runs what they queued on the main queue, until nothing is left.
  void settle();
  void deliverInApp(const JSONArray& records);
  void deliverSubscriptions(const JSONArray& records);
  void receive(const std::string& name, const JSONDictionary& context = {});
  /// The records as the file holds them: count shown by id.
  std::vector<std::pair<std::int64_t, std::int64_t>> usedCountsOnDisk() const;

  std::shared_ptr<RecordingEngine> engine;
};

/// A campaign as the server sends it; `extra` adds to its keys or replaces them.
JSONValue campaign(const std::string& id, const std::string& eventName, const JSONDictionary& extra = {});
JSONValue listAnswer(const JSONArray& records);
JSONValue uploadInfo(const std::string& name, const JSONDictionary& context = {});
std::string textOf(const JSONValue& value);

}  // namespace oq::test
