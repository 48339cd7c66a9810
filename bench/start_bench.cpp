// SPDX-License-Identifier: Apache-2.0

// The library's cost at the start of a host: the call of startWithConfig() with 100 stored campaigns, each time in a
// new process, and the time and memory that linking the library adds to an empty program.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Measure.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Storage/OQDataArchiver.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/headless/HeadlessHost.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kCampaigns = 100;
constexpr int kRounds = 31;

/// Runs a program to its end and returns its output.
std::string outputOf(const std::vector<std::string>& command) {
  int ends[2];
  require(::pipe2(ends, O_CLOEXEC) == 0, "no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  std::vector<char*> arguments;
  for (const auto& each : command) arguments.push_back(const_cast<char*>(each.c_str()));
  arguments.push_back(nullptr);
  pid_t process = -1;
  const int error = ::posix_spawn(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  require(error == 0, "cannot run " + command[0]);
  std::string output;
  char buffer[256];
  for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;) {
    output.append(buffer, static_cast<std::size_t>(count));
  }
  ::close(ends[0]);
  int status = 0;
  ::waitpid(process, &status, 0);
  require(WIFEXITED(status) && WEXITSTATUS(status) == 0, command[0] + " failed");
  return output;
}

void storeCampaigns(const std::filesystem::path& folder) {
  setApplicationDataDirectory(folder);
  OQDataArchiver::Objects<OQWindowData> windows;
  OQDataArchiver::Objects<OQRecordTreeNode> records;
  for (int i = 0; i < kCampaigns; ++i) {
    const std::string number = std::to_string(1000 + i);
    windows.push_back(std::make_shared<OQWindowData>());
    windows.back()->setModelWithDic(
        {{"id", number},
         {"style", 3},
         {"count", 3},
         {"startTime", "2026-01-01 00:00:00"},
         {"endTime", "2026-12-31 23:59:59"},
         {"event", {{"xwhat", "view_item"}, {"xcontext", {{"category", number}}}}},
         {"title", {{"text", "新品上架 No. " + number}, {"color", "#1F2937"}, {"size", "34pd"}}},
         {"content", {{"text", "本季跑鞋已经到店，会员免运费。"}, {"color", "#4B5563"}, {"size", "28pd"}}},
         {"buttonLeft", {{"text", "以后再说"}, {"background", "#F3F4F6"}}},
         {"buttonRight", {{"text", "去看看"}, {"clickEvent", "https://shop.example/" + number}}}});
    records.push_back(std::make_shared<OQRecordTreeNode>());
    records.back()->setNodeId(1000 + i);
    records.back()->setCount(3);
  }
  require(OQDataArchiver::setData(windows, documentsDirectory() / OQInAppWindowDataFileName) &&
              OQDataArchiver::setData(records, documentsDirectory() / OQRecordTreeDataFileName),
          "the campaigns are not stored");
  OQUserDefaults& settings = OQUserDefaults::defaultsWithName("group.oqsdk");
  settings.setObject("user-0815", "oq_xwho");
  settings.setObject("0123456789abcdef", "oq_token");
  closeAllUserDefaults();
}

/// Runs in a separate process: starts the library as a host does, and prints the duration in milliseconds.
[[noreturn]] void startAsHost(const char* folder) {
  HeadlessHost::Options options;
  options.dataDirectory = folder;
  HeadlessHost host(options);
  auto config = TorvelinOqConfig::defaultConfig();
  config->setAppKey("bench");
  const double seconds = secondsOf([&] { TorvelinOqManager::startWithConfig(config); });
  std::printf("%.6f\n", 1e3 * seconds);
  std::fflush(stdout);
  ::_exit(0);
}

void benchStart(const std::string& self) {
  const ScratchFolder folder;
  storeCampaigns(folder.path());
  auto [start] = inTurns(kRounds, [&] {
    return std::atof(outputOf({self, "--start", folder.path().string()}).c_str());
  });
  atMost("start_with_100_campaigns_ms", median(start), 1);
  note("start_with_100_campaigns_p90", percentile(start, 0.9), "ms");
}

void benchLinking(const std::filesystem::path& programs) {
  std::vector<double> emptyMemory, linkedMemory;
  auto run = [&](const char* program, std::vector<double>& memory) {
    const auto start = Clock::now();
    const double kilobytes = std::atof(outputOf({(programs / program).string()}).c_str());
    const double milliseconds = 1e3 * secondsSince(start);
    memory.push_back(kilobytes / 1024);
    return milliseconds;
  };
  auto [empty, linked] = inTurns(
      3 * kRounds, [&] { return run("link_empty", emptyMemory); }, [&] { return run("link_oqsdk", linkedMemory); });
  std::vector<double> added;
  for (std::size_t i = 0; i < empty.size(); ++i) added.push_back(linked[i] - empty[i]);
  atMost("link_adds_ms", median(added), 12);
  atMost("link_adds_MB", median(linkedMemory) - median(emptyMemory), 12);
  note("empty_program", median(empty), "ms");
  note("empty_program_with_the_library", median(linked), "ms");
}

}  // namespace

int main(int count, char** arguments) {
  if (count == 3 && std::strcmp(arguments[1], "--start") == 0) startAsHost(arguments[2]);
  const auto self = std::filesystem::read_symlink("/proc/self/exe");
  benchStart(self.string());
  benchLinking(self.parent_path());
}
