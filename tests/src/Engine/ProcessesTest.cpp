// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <map>
#include <random>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"
#include "Storage/OQRecordStore.h"
#include "support/EngineTest.h"
#include "support/ImmediateTransport.h"
#include "support/ScratchFolder.h"

namespace oq::test {
namespace {

/// How often each window may be shown in total. Each process shows a window at most once.
constexpr std::array<int, 4> counts = {1, 5, 8, 11};
constexpr int kProcessWindows = static_cast<int>(counts.size());

/// What a process reports through its pipe: that it records an event (Recorded), or the event's outcome. Died: the
/// process kills itself instead of showing the window.
enum class Step : std::uint8_t { Recorded, Shown, Died, UsedUp, Busy };
/// When processes die. BeforeTheFrame: after a display was counted, before the window is shown.
enum class Deaths { None, BeforeTheFrame, AnyMoment };
struct Report {
  Step step;
  std::uint8_t window;
};

class Pipe {
 public:
  Pipe() {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
    _reader = FileDescriptor(ends[0]);
    _writer = FileDescriptor(ends[1]);
  }

  void write(Report report) {
    if (::write(_writer.get(), &report, sizeof report) != sizeof report) ::_exit(3);
  }
  /// False when all writers have closed the pipe.
  bool read(Report& report) { return ::read(_reader.get(), &report, sizeof report) == sizeof report; }
  void waitForEnd() {
    for (Report ignored; read(ignored);) {
    }
  }
  void closeReader() { _reader.close(); }
  void closeWriter() { _writer.close(); }

 private:
  FileDescriptor _reader, _writer;
};

/// Reports each window at the moment when it would be shown. After `showings` windows it kills its process when
/// the next window would be shown.
class CountingEngine : public OQSDKManager {
 public:
  explicit CountingEngine(Pipe& pipe, int showings = kProcessWindows) : _pipe(pipe), _showings(showings) {}

  /// Records an event and reports its outcome. Repeats it while the records are busy.
  void record(int window) {
    report(Step::Recorded, window);
    Step step;
    do {
      onEventDataReceived(uploadInfo("e" + std::to_string(window)));
      DispatchQueue::drainMain();
      const Value decisions = recentDecisions();
      const auto outcome = decisions.at(decisions.size() - 1).at("outcome").toString();
      const bool isShown = outcome == "counted and handed to the screen";
      step = isShown ? Step::Shown : outcome == "records are busy" ? Step::Busy : Step::UsedUp;
      if (!isShown) report(step, window);
    } while (step == Step::Busy);
  }

 protected:
  void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction) override {
    const bool lives = _showings-- > 0;
    report(lives ? Step::Shown : Step::Died, static_cast<int>(integerValue(window->windowId())));
    if (!lives) ::raise(SIGKILL);
  }

 private:
  void report(Step step, int window) { _pipe.write({step, static_cast<std::uint8_t>(window)}); }
  Pipe& _pipe;
  int _showings;  ///< the number of windows that it still shows before it kills its process
};

void enterApplication(const std::filesystem::path& folder) {
  setApplicationDataDirectory(folder);
  DispatchQueue::installMain();
  setPlatformLogHandler([](std::string_view) {});
  setCurrentDateProvider([] { return Date(std::chrono::seconds(1773144000)); });
  setURLTransport(std::make_shared<ImmediateTransport>([](const std::string& path) -> std::optional<std::string> {
    if (path != "/push/sdk/in_app") return std::nullopt;
    JSONArray records;
    for (int count : counts) {
      const std::string id = std::to_string(records.size());
      records.push_back(campaign(id, "e" + id, {{"count", count}, {"picture", nullptr}}));
    }
    return textOf(listAnswer(records));
  }));
}

/// The used counts with which the next process would start.
std::map<int, int> countedIn(const std::filesystem::path& folder) {
  setApplicationDataDirectory(folder);
  std::map<int, int> counted;
  for (const auto& node : OQRecordStore().read()) {
    counted[static_cast<int>(node->nodeId())] = static_cast<int>(node->usedCount());
  }
  return counted;
}

/// Forks a process of the application, which runs the body.
class Process {
 public:
  template <class Body>
  explicit Process(const Body& body) : _id(::fork()) {
    if (_id == 0) {
      reports.closeReader();
      body(reports);
      ::_exit(0);
    }
    reports.closeWriter();
  }

  void kill() { ::kill(_id, SIGKILL); }
  void resume() { ::kill(_id, SIGCONT); }
  /// Waits until the process stops itself.
  bool isStopped() const {
    int status = 0;
    return ::waitpid(_id, &status, WUNTRACED) == _id && WIFSTOPPED(status);
  }
  /// Waits for the process's end. True if it was killed.
  bool join() {
    const int status = statusOf(_id);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << "status " << status;
    return WIFSIGNALED(status);
  }

  Pipe reports;

 private:
  const pid_t _id;
};

/// The reports of all processes of one folder so far.
struct Tally {
  std::array<int, kProcessWindows> shown{}, died{}, unanswered{}, usedUp{};
  int killed = 0;

  void add(Process& process) {
    Report report{};
    std::array<int, kProcessWindows> open{};
    while (process.reports.read(report)) {
      const std::size_t window = report.window;
      open[window] = report.step == Step::Recorded || report.step == Step::Busy;
      if (report.step == Step::Shown) ++shown[window];
      if (report.step == Step::Died) ++died[window];
      if (report.step == Step::UsedUp) ++usedUp[window];
    }
    for (std::size_t window = 0; window < counts.size(); ++window) unanswered[window] += open[window];
    if (process.join()) ++killed;
  }
};

/// Runs processes that start and record their events at the same time, until they end or are killed.
void runTogether(int processCount, const std::filesystem::path& folder, Deaths deaths, std::mt19937& random,
                 Tally& tally) {
  const auto pick = [&](int most) { return static_cast<int>(random() % static_cast<unsigned>(most)); };
  Pipe go;
  std::vector<std::unique_ptr<Process>> processes;
  const bool startsTogether = pick(2) == 0;
  for (int number = 0; number < processCount; ++number) {
    const int showings = deaths == Deaths::BeforeTheFrame ? pick(2 * kProcessWindows) : kProcessWindows;
    processes.push_back(std::make_unique<Process>([&](Pipe& reports) {
      go.closeWriter();
      if (startsTogether) go.waitForEnd();
      enterApplication(folder);
      const auto engine = std::make_shared<CountingEngine>(reports, showings);
      engine->getInAppList();
      if (!startsTogether) go.waitForEnd();
      for (int i = 0; i < kProcessWindows; ++i) engine->record((i + number / 2) % kProcessWindows);
    }));
  }
  go.closeWriter();
  for (int kills = deaths == Deaths::AnyMoment ? 1 + pick(6) : 0; kills > 0; --kills) {
    ::usleep(static_cast<useconds_t>(pick(startsTogether ? 20'000 : 3000)));
    processes[static_cast<std::size_t>(pick(processCount))]->kill();
  }
  for (const auto& process : processes) tally.add(*process);
}

/// A kind of round: several lives of the application, one after the other. In each life, several processes run in
/// parallel.
struct Kind {
  const char* name;
  Deaths deaths;
  int processes = 8, lives = 2;
};

struct Totals {
  int shown = 0, died = 0, counted = 0, unanswered = 0, killed = 0;
};

/// Plays a round in a new folder, so the processes of the first life find no records.
void playRound(std::mt19937& random, const Kind& kind, Totals& totals) {
  const ScratchFolder folder;
  Tally tally;
  for (int life = 1; life <= kind.lives; ++life) {
    runTogether(kind.processes, folder.path(), kind.deaths, random, tally);
    auto counted = countedIn(folder.path());
    for (int i = 0; i < kProcessWindows; ++i) {
      const auto window = static_cast<std::size_t>(i);
      SCOPED_TRACE(testing::Message() << "window " << i << " in life " << life);
      EXPECT_LE(counted[i], counts[window]);
      // A process that was killed before its report may or may not have counted the display.
      const int known = tally.shown[window] + tally.died[window];
      EXPECT_LE(known, counted[i]);
      EXPECT_GE(known + tally.unanswered[window], counted[i]);
      EXPECT_TRUE(kind.deaths == Deaths::AnyMoment || tally.unanswered[window] == 0) << tally.unanswered[window];
      EXPECT_TRUE(tally.usedUp[window] == 0 || counted[i] == counts[window]) << counted[i];
      const int mostShown = std::min(counts[window], life * kind.processes);
      EXPECT_TRUE(kind.deaths != Deaths::None || tally.shown[window] == mostShown) << tally.shown[window];
      if (life < kind.lives) continue;
      totals.shown += tally.shown[window];
      totals.died += tally.died[window];
      totals.counted += counted[i];
      totals.unanswered += tally.unanswered[window];
    }
  }
  totals.killed += tally.killed;
}

int rounds() {
  const char* asked = std::getenv("OQSDK_PROCESS_ROUNDS");
  return asked ? std::stoi(asked) : 5;
}

void playRounds() {
  std::mt19937 random(std::random_device{}());
  const Kind kinds[] = {{"no deaths", Deaths::None},
                        {"deaths before the frame", Deaths::BeforeTheFrame},
                        {"kills", Deaths::AnyMoment},
                        {"kills of a process that runs alone", Deaths::AnyMoment, 1, 20}};
  for (const Kind& kind : kinds) {
    Totals totals;
    for (int round = 0; round < rounds() && !testing::Test::HasFailure(); ++round) playRound(random, kind, totals);
    std::printf(
        "[ process  ] %s, %d rounds with %d runs of %d processes: %d counted, %d shown, %d died before the frame, "
        "%d killed, %d of them without an answer\n",
        kind.name, rounds(), kind.lives, kind.processes, totals.counted, totals.shown, totals.died, totals.killed,
        totals.unanswered);
    std::fflush(stdout);  // so that forks do not print it again
  }
}

/// A process is stopped while it holds the records' lock. Another one continues without showing its window, and shows
/// it after the first one resumes.
void stopOne() {
  const ScratchFolder folder;
  Process holder([&](Pipe&) {
    setApplicationDataDirectory(folder.path());
    OQRecordStore store;
    const auto access = store.access();
    ::raise(SIGSTOP);
  });
  EXPECT_TRUE(holder.isStopped());
  Process other([&](Pipe& reports) {
    enterApplication(folder.path());
    const auto engine = std::make_shared<CountingEngine>(reports);
    engine->getInAppList();
    engine->record(1);
  });
  for (Step expected : {Step::Recorded, Step::Busy, Step::Busy}) {
    Report report{};
    EXPECT_TRUE(other.reports.read(report) && report.step == expected);
  }
  EXPECT_EQ(countedIn(folder.path())[1], 0);
  holder.resume();
  EXPECT_FALSE(holder.join());
  Tally tally;
  tally.add(other);
  EXPECT_EQ(tally.shown[1], 1);
  EXPECT_EQ(countedIn(folder.path())[1], 1);
}

/// Runs the body in a newly started process: the body forks, which is not safe in a process with other threads.
void inProgram(void (*body)()) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        body();
        std::fflush(stdout);
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "");
}

/// OQSDK_PROCESS_ROUNDS sets a larger number of rounds.
TEST(ProcessesTest, CountsAreSharedAndSurviveKills) {
  inProgram(playRounds);
}

TEST(ProcessesTest, StoppedProcessDoesNotBlockOthers) {
  inProgram(stopOne);
}

}  // namespace
}  // namespace oq::test
