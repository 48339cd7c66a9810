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

/// Processes that are killed at random moments while they write. OQSDK_KILLS sets how many of each kind (50
/// by default, 1000 for a night).
namespace oq {
namespace {

using namespace oq::test;

/// One of the many objects of an archive; all of one archive bear the same number.
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

constexpr std::size_t StampsPerArchive = 300;

Data archiveOf(std::int64_t number) {
  std::vector<std::shared_ptr<const SecureCoding>> stamps;
  for (std::size_t i = 0; i < StampsPerArchive; ++i) {
    auto stamp = std::make_shared<Stamp>();
    stamp->number = number;
    stamp->text = JSONValue(std::string(200, 'a') + std::to_string(i) + "." + std::to_string(number));
    stamps.push_back(stamp);
  }
  return KeyedArchiver::archivedDataWithRootObjects(stamps);
}

/// The number of the archive in the file; nullopt when it is not one whole archive.
std::optional<std::int64_t> numberIn(const std::filesystem::path& file) {
  auto bytes = contentsOfFile(file);
  auto stamps = bytes ? KeyedUnarchiver::unarchiveArrayOf<Stamp>(*bytes) : std::nullopt;
  if (!stamps || stamps->size() != StampsPerArchive) return std::nullopt;
  for (const auto& stamp : *stamps) {
    if (stamp->number != stamps->front()->number) return std::nullopt;
  }
  return stamps->front()->number;
}

/// What the writer has told: the write that it began last, and the one that it knew to be done.
struct Told {
  std::int64_t begun = 0, done = 0;
  bool isInside() const { return begun > done; }
};

/// Makes everything ready for the write of a number, and gives back the write itself.
using Write = std::function<std::function<bool()>(std::int64_t number)>;

/// Lets a process write number after number, from `first` on, and kills it at a moment that nobody knows.
Told killWriter(const Write& write, std::int64_t first, std::mt19937& random) {
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
  pollfd firstWord{ends[0], POLLIN, 0};
  ::poll(&firstWord, 1, 60'000);
  // Nothing tells when to kill: any moment must do.
  ::usleep(std::uniform_int_distribution<useconds_t>(0, 8000)(random));
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "a write failed";

  Told told{first - 1, first - 1};
  for (std::int64_t word; ::read(ends[0], &word, sizeof word) == sizeof word;) {
    (word % 2 == 0 ? told.begun : told.done) = word / 2;
  }
  ::close(ends[0]);
  return told;
}

int killCount() {
  const char* count = std::getenv("OQSDK_KILLS");
  return count ? std::atoi(count) : 50;
}

/// Kills a writer again and again, and counts after how many of the deaths the file was not whole or lacked
/// what was acknowledged. Each writer goes on where the file is. Where writes are so quick that no kill fell
/// inside one, which would show nothing, more kills follow.
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
    Told told = killWriter(write, next, random);
    ++tally.kills;
    tally.inside += told.isInside();
    auto found = read();
    // Before the very first write has ended there need not be anything.
    bool isSound = found ? *found == told.done || *found == told.begun : told.done == 0;
    tally.faults += !isSound;
    next = found.value_or(0) + 1;
  }
  return tally;
}

void report(const char* what, const Tally& tally) {
  std::printf("[ kills    ] %s: %d kills, %d inside a write, %d faults\n", what, tally.kills, tally.inside,
              tally.faults);
}

TEST(KilledWriter, LeavesAWholeArchiveWithAllThatItAcknowledged) {
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
  EXPECT_GT(tally.inside, 0) << "no kill fell inside a write: nothing was shown";
  // The next write clears away what the dead left.
  EXPECT_TRUE(writeFileAtomically(file, archiveOf(1)));
  EXPECT_EQ(enumerateDirectory(folder.path()), std::vector<std::filesystem::path>{"list.plist"});
}

/// The same with the one thing left out that makes it safe, to show that these kills find what they look for.
TEST(KilledWriter, WithoutTheRenameIsFoundOut) {
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

TEST(KilledWriter, LeavesUserDefaultsWithAllThatItAcknowledged) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  const std::string padding(3000, 'x');
  // Two rows for each number: one that is small, and one that fills pages of the database.
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
  EXPECT_GT(tally.inside, 0) << "no kill fell inside a write: nothing was shown";
}

}  // namespace
}  // namespace oq
