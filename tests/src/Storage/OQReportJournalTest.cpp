// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQReportJournal.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>

#include <memory>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

namespace oq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class OQReportJournalTest : public testing::Test {
 protected:
  OQReportJournalTest() { setApplicationDataDirectory(_folder.path()); }
  ~OQReportJournalTest() override { setApplicationDataDirectory(""); }

  static OQReportJournal::Added add(OQReportJournal& journal, const std::string& id, std::size_t length = 1) {
    return journal.add({id, {{"text", std::string(length, 'x')}}});
  }
  static std::vector<std::string> idsIn(const OQReportJournal::Adopted& adopted) {
    std::vector<std::string> ids;
    for (const auto& entry : adopted.entries) ids.push_back(entry.id);
    return ids;
  }
  static std::filesystem::path folder() { return documentsDirectory() / OQReportsFolderName; }
  static std::vector<std::filesystem::path> files() { return enumerateDirectory(folder()); }

 private:
  const ScratchFolder _folder;
};

/// A child process is killed after some of its reports were removed. Another process is alive meanwhile.
TEST_F(OQReportJournalTest, ReportsOfAKilledProcessAreAdoptedOnce) {
  OQReportJournal alive, next;
  add(alive, "of the other process");
  const int status = statusOfChild([] {
    OQReportJournal journal;
    for (const char* id : {"a", "b", "c", "d"}) add(journal, id);
    journal.remove({"b", "a"});
    journal.setNotBefore(1234);
    return ::raise(SIGKILL) == 0;
  });
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(files().size(), 2u);
  {
    OQReportJournal ended;
    const auto adopted = ended.adopt();
    EXPECT_THAT(idsIn(adopted), ElementsAre("c", "d"));
    EXPECT_EQ(adopted.notBefore, 1234);
    EXPECT_EQ(adopted.entries[0].report, (JSONValue{{"text", "x"}}));
    EXPECT_THAT(idsIn(next.adopt()), IsEmpty()) << "both processes are alive";
    ended.remove({"c"});
  }
  EXPECT_THAT(idsIn(next.adopt()), ElementsAre("d"));
  EXPECT_EQ(files().size(), 2u);
  next.remove({"d"});
  EXPECT_EQ(files().size(), 1u) << "a journal without reports is removed";
}

TEST_F(OQReportJournalTest, DamagedLinesAreIgnored) {
  createDirectory(folder());
  const std::string good = R"({"id":"good","report":{"n":1}})";
  writeText(folder() / "1.journal",
            "\xff\xfe garbage\n[1,2]\n{}\n{\"id\":\"\",\"report\":{}}\n{\"id\":7,\"report\":{}}\n"
            "{\"id\":\"x\",\"report\":5}\n{\"removed\":7,\"notBefore\":\"later\"}\n\n" +
                std::string(600, '[') + "\n" + good + "\n" + R"({"removed":["good"])" + "\n" +
                R"({"id":"torn","report":{"n":)");
  writeText(folder() / "2.journal", good + "\n" + std::string(100'000, '\0'));
  writeText(folder() / "3.journal", "");
  writeText(folder() / "large.journal", std::string(3u << 20, '\n'));
  std::filesystem::create_symlink(folder() / "1.journal", folder() / "link.journal");
  std::filesystem::create_directory(folder() / "folder.journal");
  OQReportJournal journal;
  EXPECT_THAT(idsIn(journal.adopt()), ElementsAre("good"));
  const auto left = files();
  EXPECT_EQ(left.size(), 4u) << "the new journal, and what is not a journal";
}

TEST_F(OQReportJournalTest, AReportThatCannotBeWrittenDamagesNoOther) {
  EXPECT_TRUE(holdsInChild([] {
    const rlimit limit{1000, 1000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    OQReportJournal journal;
    return add(journal, "a", 600).isStored && !add(journal, "b", 600).isStored && add(journal, "c").isStored;
  }));
  EXPECT_THAT(idsIn(OQReportJournal().adopt()), ElementsAre("a", "c"));
}

TEST_F(OQReportJournalTest, JournalLimitsAreKeptByDroppingTheOldestReports) {
  OQReportJournal journal;
  for (std::size_t i = 0; i < OQReportJournal::mostReports; ++i)
    ASSERT_THAT(add(journal, std::to_string(i)).dropped, IsEmpty());
  EXPECT_THAT(add(journal, "new").dropped, ElementsAre("0"));
  EXPECT_FALSE(add(journal, "huge", OQReportJournal::mostBytes).isStored);
  journal.removeAll();
  // Adds large reports, several times as much as the limit: the file never exceeds 1 MiB, and contains the newest
  // reports.
  std::size_t largest = 0;
  for (int i = 0; i < 40; ++i) {
    ASSERT_TRUE(add(journal, std::to_string(i), 100'000).isStored);
    ASSERT_EQ(files().size(), 1u);
    const auto file = folder() / files()[0];
    largest = std::max<std::size_t>(largest, std::filesystem::file_size(file));
    EXPECT_EQ(modeOf(file), 0600u);
    if (i < 6) continue;
    std::filesystem::copy_file(file, folder() / "copy.journal");
    std::vector<std::string> newest;
    for (int each = i - 6; each <= i; ++each) newest.push_back(std::to_string(each));
    EXPECT_EQ(idsIn(OQReportJournal().adopt()), newest);
    std::filesystem::remove(folder() / files()[files()[0] == file.filename() ? 1 : 0]);
  }
  EXPECT_LE(largest, 1u << 20);
  EXPECT_GT(largest, 800'000u);
}

TEST_F(OQReportJournalTest, RemovingAllIsNoticedByOtherProcesses) {
  OQReportJournal first, second;
  add(first, "a");
  add(second, "b");
  first.removeAll();
  EXPECT_THAT(files(), IsEmpty());
  EXPECT_FALSE(first.isRemovedByOthers());
  EXPECT_TRUE(second.isRemovedByOthers());
  second.abandon();
  EXPECT_TRUE(add(second, "c").isStored);
  EXPECT_FALSE(second.isRemovedByOthers());
  EXPECT_EQ(files().size(), 1u);
}

}  // namespace
}  // namespace oq::test
