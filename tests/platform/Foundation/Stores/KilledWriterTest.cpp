// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

/// Kills processes at random moments while they write. OQSDK_KILLS sets how many (default 50; 1000 for a run over
/// night).
namespace oq {
namespace {

using namespace oq::test;

/// 20,000 lines, each with the number.
std::string linesOf(std::int64_t number) {
  std::string lines;
  for (int i = 0; i < 20'000; ++i) lines += std::to_string(number) + "\n";
  return lines;
}

/// The number in the file; nullopt if the contents are incomplete or a mixture of several writes.
std::optional<std::int64_t> numberIn(const std::filesystem::path& file) {
  const std::string lines = textOfFile(file);
  const std::int64_t number = std::atoll(lines.c_str());
  return lines == linesOf(number) ? std::optional(number) : std::nullopt;
}

/// Lets a process write number after number to the file, starting with `first`, and kills it at a random moment after
/// the first write. Returns the last number that it reported as written.
std::int64_t killWriter(const std::filesystem::path& file, std::int64_t first, std::mt19937& random) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return 0;
  pid_t child = ::fork();
  if (child == 0) {
    Data lines = dataFromString(linesOf(first));
    for (std::int64_t number = first;; ++number) {
      if (!writeFileAtomically(file, lines)) ::_exit(1);
      lines = dataFromString(linesOf(number + 1));
      if (::write(ends[1], &number, sizeof number) != sizeof number) ::_exit(1);
    }
  }
  ::close(ends[1]);
  pollfd firstReport{ends[0], POLLIN, 0};
  ::poll(&firstReport, 1, 60'000);
  // Intentionally random: every moment must be safe.
  ::usleep(std::uniform_int_distribution<useconds_t>(0, 8000)(random));
  ::kill(child, SIGKILL);
  EXPECT_TRUE(WIFSIGNALED(statusOf(child))) << "a write failed";

  std::int64_t written = 0;
  while (::read(ends[0], &written, sizeof written) == sizeof written) continue;
  ::close(ends[0]);
  return written;
}

/// After each kill the file must be complete and contain every reported write. A process that was killed inside a write
/// leaves a temporary file. A run in which no kill interrupts a write proves nothing, so it continues until one does,
/// with up to 40 times as many kills.
TEST(KilledWriter, FileKeepsAllAcknowledgedWrites) {
  const ScratchFolder folder;
  const auto file = folder / "list.plist";
  const char* wanted = std::getenv("OQSDK_KILLS");
  const int enough = wanted ? std::atoi(wanted) : 50;
  std::mt19937 random(std::random_device{}());
  int kills = 0, inside = 0;
  for (std::int64_t next = 1; kills < (inside > 0 ? enough : 40 * enough); ++kills) {
    const std::int64_t written = killWriter(file, next, random);
    const auto found = numberIn(file);
    ASSERT_TRUE(found == written || found == written + 1) << found.value_or(0) << " after " << written;
    inside += enumerateDirectory(folder.path()).size() > 1;
    next = *found + 1;
  }
  std::printf("[ kills    ] %d kills, %d inside a write\n", kills, inside);
  EXPECT_GT(inside, 0) << "no kill hit a write: nothing was proved";
  // The next write removes the files of the killed processes.
  EXPECT_TRUE(writeFileAtomically(file, {1}));
  EXPECT_EQ(enumerateDirectory(folder.path()), std::vector<std::filesystem::path>{"list.plist"});
}

}  // namespace
}  // namespace oq
