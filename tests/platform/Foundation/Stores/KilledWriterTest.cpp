// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>

#include "Foundation/Files/FileManager.h"
#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "Foundation/Stores/UserDefaults.h"
#include "support/ScratchFolder.h"

/// Kills processes at random moments while they write. OQSDK_KILLS sets how many of each kind (default 50; 1000 for a
/// night).
namespace oq {
namespace {

using namespace oq::test;

/// One of the many objects of an archive; all objects of one archive have the same number.
struct Stamp : SecureCoding {
  static constexpr const char* ArchivedClassName = "OQStamp";
  std::int64_t number = 0;
  JSONValue text;
  std::string archivedClassName() const override { return ArchivedClassName; }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeInteger(number, "number");
    coder.encodeObject(text, "text");
  }
  void initWithCoder(const KeyedUnarchiver& coder) {
    number = coder.decodeInteger("number");
    text = coder.decodeValue("text");
  }
};

constexpr std::size_t kStampsPerArchive = 300;

Data archiveOf(std::int64_t number) {
  std::vector<std::shared_ptr<const SecureCoding>> stamps;
  for (std::size_t i = 0; i < kStampsPerArchive; ++i) {
    auto stamp = std::make_shared<Stamp>();
    stamp->number = number;
    stamp->text = JSONValue(std::string(200, 'a') + std::to_string(i) + "." + std::to_string(number));
    stamps.push_back(stamp);
  }
  return KeyedArchiver::archivedDataWithRootObjects(stamps);
}

/// The number of the archive in the file; nullopt if the file is not one complete archive.
std::optional<std::int64_t> numberIn(const std::filesystem::path& file) {
  auto bytes = contentsOfFile(file);
  auto stamps = bytes ? KeyedUnarchiver::unarchiveArrayOf<Stamp>(*bytes) : std::nullopt;
  if (!stamps || stamps->size() != kStampsPerArchive) return std::nullopt;
  for (const auto& stamp : *stamps) {
    if (stamp->number != stamps->front()->number) return std::nullopt;
  }
  return stamps->front()->number;
}

/// The writer's progress: the last write that it began, and the last one that it completed.
struct Progress {
  std::int64_t begun = 0, done = 0;
  bool isInside() const { return begun > done; }
};

/// Prepares the write of a number, and returns a function that writes it.
using Write = std::function<std::function<bool()>(std::int64_t number)>;

/// Lets a process write number after number, starting with `first`, and kills it at a random moment.
Progress killWriter(const Write& write, std::int64_t first, std::mt19937& random) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return {};
  pid_t child = ::fork();
  if (child == 0) {
    for (std::int64_t number = first;; ++number) {
      std::int64_t begun = 2 * number, done = 2 * number + 1;
      auto writeNow = write(number);
      if (::write(ends[1], &begun, sizeof begun) != sizeof begun || !writeNow()) ::_exit(1);
      if (::write(ends[1], &done, sizeof done) != sizeof done) ::_exit(1);
    }
  }
  ::close(ends[1]);
  pollfd firstReport{ends[0], POLLIN, 0};
  ::poll(&firstReport, 1, 60'000);
  // Intentionally random: every moment must be safe.
  ::usleep(std::uniform_int_distribution<useconds_t>(0, 8000)(random));
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "a write failed";

  Progress progress{first - 1, first - 1};
  for (std::int64_t report; ::read(ends[0], &report, sizeof report) == sizeof report;) {
    (report % 2 == 0 ? progress.begun : progress.done) = report / 2;
  }
  ::close(ends[0]);
  return progress;
}

int killCount() {
  const char* count = std::getenv("OQSDK_KILLS");
  return count ? std::atoi(count) : 50;
}

/// Kills a writer repeatedly. Counts the kills after which the file was incomplete or lacked an acknowledged write.
/// Each writer continues with the number in the file. If writes are so fast that no kill hit one, which would prove
/// nothing, more kills follow.
struct Tally {
  int kills = 0, inside = 0, faults = 0;
};

Tally killAgainAndAgain(int kills, const Write& write, const std::function<std::optional<std::int64_t>()>& read,
                        bool untilFirstFault = false) {
  std::mt19937 random(std::random_device{}());
  Tally tally;
  std::int64_t next = 1;
  const auto isEnough = [&] {
    return tally.kills >= (tally.inside > 0 ? kills : 40 * kills) || (untilFirstFault && tally.faults > 0);
  };
  while (!isEnough()) {
    Progress progress = killWriter(write, next, random);
    ++tally.kills;
    tally.inside += progress.isInside();
    auto found = read();
    // Before the first write has ended, the file may be missing.
    bool isSound = found ? *found == progress.done || *found == progress.begun : progress.done == 0;
    tally.faults += !isSound;
    next = found.value_or(0) + 1;
  }
  return tally;
}

void report(const char* what, const Tally& tally) {
  std::printf("[ kills    ] %s: %d kills, %d inside a write, %d faults\n", what, tally.kills, tally.inside,
              tally.faults);
}

TEST(KilledWriter, ArchiveKeepsAllAcknowledgedWrites) {
  ScratchFolder folder;
  auto file = folder / "list.plist";
  auto tally = killAgainAndAgain(
      killCount(),
      [&](std::int64_t number) {
        return [&file, bytes = archiveOf(number)] { return writeFileAtomically(file, bytes); };
      },
      [&] { return numberIn(file); });
  report("archive", tally);
  EXPECT_EQ(tally.faults, 0);
  EXPECT_GT(tally.inside, 0) << "no kill hit a write: nothing was proved";
  // The next write removes the files of the killed processes.
  EXPECT_TRUE(writeFileAtomically(file, archiveOf(1)));
  EXPECT_EQ(enumerateDirectory(folder.path()), std::vector<std::filesystem::path>{"list.plist"});
}

/// The same without the rename that makes writes safe: shows that the kills detect unsafe writes.
TEST(KilledWriter, WritesWithoutRenameAreDetected) {
  ScratchFolder folder;
  auto file = folder / "list.plist";
  auto writeInPlace = [&file](const Data& bytes) {
    FILE* stream = std::fopen(file.c_str(), "w");
    bool isWritten = stream && std::fwrite(bytes.data(), 1, bytes.size(), stream) == bytes.size() &&
                     std::fflush(stream) == 0 && ::fsync(::fileno(stream)) == 0;
    return stream && std::fclose(stream) == 0 && isWritten;
  };
  auto write = [&](std::int64_t number) {
    return [&writeInPlace, bytes = archiveOf(number)] { return writeInPlace(bytes); };
  };
  auto tally = killAgainAndAgain(
      2000, write, [&] { return numberIn(file); }, true);
  report("archive without the rename, until the first fault", tally);
  EXPECT_GT(tally.faults, 0);
}

TEST(KilledWriter, UserDefaultsKeepAllAcknowledgedWrites) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  const std::string padding(3000, 'x');
  // Two rows per number: a small one, and one that fills pages of the database.
  auto write = [&](std::int64_t number) {
    auto suite = UserDefaults::withSuiteName("killed");
    return [suite, number, text = JSONValue(padding + std::to_string(number))] {
      return suite->setObject(text, "text") && suite->setObject(JSONValue(number), "number") &&
             (number % 3 != 0 || suite->synchronize());
    };
  };
  auto read = [&]() -> std::optional<std::int64_t> {
    closeAllUserDefaults();
    auto suite = UserDefaults::withSuiteName("killed");
    std::int64_t number = suite->integerForKey("number");
    PropertyValue text = suite->objectForKey("text");
    closeAllUserDefaults();
    auto isTextOf = [&](std::int64_t n) { return text == PropertyValue(JSONValue(padding + std::to_string(n))); };
    if (number == 0 && !isTextOf(1)) return std::nullopt;
    // The text is written first, so it may be one ahead.
    return isTextOf(number) || isTextOf(number + 1) ? std::optional(number) : std::nullopt;
  };
  auto tally = killAgainAndAgain(killCount(), write, read);
  report("user defaults", tally);
  EXPECT_EQ(tally.faults, 0);
  EXPECT_GT(tally.inside, 0) << "no kill hit a write: nothing was proved";
}

}  // namespace
}  // namespace oq
