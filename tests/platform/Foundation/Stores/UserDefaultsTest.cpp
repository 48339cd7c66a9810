// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Stores/UserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/json/serialize.hpp>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "support/FolderState.h"
#include "support/Python.h"
#include "support/Threads.h"

using namespace oq;
using namespace oq::test;

namespace {

class UserDefaultsTest : public testing::Test {
 protected:
  UserDefaultsTest() { setApplicationDataDirectory(folder.path()); }
  ~UserDefaultsTest() override { closeAllUserDefaults(); }

  static std::shared_ptr<UserDefaults> suite() { return UserDefaults::withSuiteName("group.oqsdk"); }
  static std::shared_ptr<UserDefaults> reopened() {
    closeAllUserDefaults();
    return suite();
  }
  std::filesystem::path database() const { return folder / "Preferences/group.oqsdk.sqlite"; }

  /// Runs SQL in another program and returns its output.
  std::string shell(const std::string& sql) const {
    return outputOf("/usr/bin/sqlite3 '" + database().string() + "' \"" + sql + "\"");
  }

  ScratchFolder folder;
};

const PropertyValue kNothing = JSONValue();

}  // namespace

TEST_F(UserDefaultsTest, KeepsKindsOfValuesAndOrderOfKeys) {
  const PropertyValue values[] = {
      // values that are easily mistaken for each other
      JSONValue(true), JSONValue(1), JSONValue(1.0), JSONValue("1"), JSONValue(""), JSONValue(JSONArray{}),
      JSONValue(JSONDictionary{}), Data{},
      // other values
      JSONValue(std::uint64_t{1} << 63), JSONValue(-0.5), JSONValue(std::string_view("nul\0and é😀", 14)),
      JSONValue(JSONArray{1, nullptr, JSONArray{"x"}}), JSONValue(JSONDictionary{{"b", 1}, {"a", 2.0}}),
      JSONValue(JSONDictionary{{"a", 2.0}, {"b", 1}}), Data{0, 255, 'x'}, Data(300000, 7),
      dateFromSecondsSince1970(1794614400.125), dateFromSecondsSince1970(-5)};
  auto same = [](const PropertyValue& a, const PropertyValue& b) {
    auto* value = std::get_if<JSONValue>(&a);
    return a == b && (!value || (value->kind() == std::get<JSONValue>(b).kind() &&
                                 serialize(*value) == serialize(std::get<JSONValue>(b))));
  };
  // All values are stored under one key, one after another. A value that compares equal to the one before it, but is of
  // another kind, must still replace it.
  for (const auto& value : values) {
    EXPECT_TRUE(suite()->setObject(value, "k"));
    EXPECT_TRUE(same(suite()->objectForKey("k"), value)) << &value - values;
    EXPECT_TRUE(same(reopened()->objectForKey("k"), value)) << &value - values << " from the disk";
  }
}

TEST_F(UserDefaultsTest, WithoutPermissionToWriteValuesAreReadAndNoFileIsTouched) {
  struct NoPermission {
    NoPermission() {
      setWritePermission([] { return false; });
    }
    ~NoPermission() { setWritePermission(nullptr); }
  };
  const auto expectOnlyRead = [&](const PropertyValue& expected, const char* when) {
    const NoPermission none;
    const FolderState state(folder.path());
    EXPECT_EQ(suite()->objectForKey("k"), expected) << when;
    EXPECT_FALSE(suite()->setObject(JSONValue("other"), "k")) << when;
    suite()->removeObjectForKey("k");
    EXPECT_EQ(suite()->objectForKey("k"), expected) << when;
    suite()->synchronize();
    closeAllUserDefaults();
    EXPECT_THAT(state.changes(), testing::IsEmpty()) << when;
  };
  expectOnlyRead(kNothing, "without a file");
  // Another process writes and ends without closing the database, so the value is only in SQLite's write-ahead log.
  EXPECT_TRUE(holdsInChild([&] { return suite()->setObject(JSONValue("logged"), "k"); }));
  ASSERT_GT(std::filesystem::file_size(database().string() + "-wal"), 0u);
  expectOnlyRead(JSONValue("logged"), "after a process that ended without closing");
  EXPECT_TRUE(suite()->setObject(JSONValue("mine"), "k"));
  expectOnlyRead(JSONValue("mine"), "with an open connection");
  EXPECT_EQ(shell("PRAGMA wal_checkpoint(TRUNCATE); SELECT value FROM entries"), "0|0|0\n\"mine\"\n");
  expectOnlyRead(JSONValue("mine"), "without a log");
  EXPECT_TRUE(suite()->setObject(JSONValue("again"), "k"));
  EXPECT_EQ(reopened()->objectForKey("k"), PropertyValue(JSONValue("again")));
}

TEST_F(UserDefaultsTest, FilesArePrivateAndSettingNullRemovesTheKey) {
  mode_t old = ::umask(0);
  EXPECT_TRUE(suite()->setObject(JSONValue(" 12 apples"), "k"));
  ::umask(old);
  EXPECT_EQ(modeOf(folder / "Preferences"), 0700u);
  for (const auto& entry : std::filesystem::directory_iterator(folder / "Preferences"))
    EXPECT_EQ(modeOf(entry.path()), 0600u) << entry.path();
  EXPECT_EQ(suite()->integerForKey("k"), 12);
  suite()->setObject(Data{'7'}, "k");
  EXPECT_EQ(suite()->integerForKey("k"), 0);
  EXPECT_TRUE(suite()->setObject(JSONValue(), "k"));
  EXPECT_EQ(suite()->objectForKey("k"), kNothing);
  suite()->setInteger(5, "k");
  suite()->removeObjectForKey("k");
  EXPECT_EQ(reopened()->objectForKey("k"), kNothing);
}

TEST_F(UserDefaultsTest, SuitesAndApplicationsHaveSeparateValues) {
  setMainBundle("com.example.shop", "");
  UserDefaults::standardUserDefaults()->setInteger(1, "k");
  UserDefaults::withSuiteName("../escape")->setInteger(2, "k");
  EXPECT_EQ(suite()->integerForKey("k"), 0);
  // Applications whose identifiers resemble the name of a suite or the path of its file.
  suite()->setInteger(3, "k");
  for (const char* identifier : {"group.oqsdk", "%group.oqsdk", "../Preferences/group.oqsdk", "", "standard"}) {
    setMainBundle(identifier, "");
    EXPECT_EQ(UserDefaults::standardUserDefaults()->integerForKey("k"), 0) << identifier;
    UserDefaults::standardUserDefaults()->setInteger(4, "k");
  }
  EXPECT_EQ(suite()->integerForKey("k"), 3);
  EXPECT_TRUE(std::filesystem::exists(database()));
  EXPECT_FALSE(std::filesystem::exists(folder / "escape.sqlite"));
}

TEST_F(UserDefaultsTest, ManyProcessesStartingTogetherLoseNothing) {
  EXPECT_TRUE(holdsInChildren<4>([&](int process) {
    bool ok = true;
    for (int k = process; k < 200; k += 4) ok &= suite()->setObject(JSONValue(k), std::to_string(k));
    return ok;
  }));
  for (int k = 0; k < 200; ++k) EXPECT_EQ(suite()->objectForKey(std::to_string(k)), PropertyValue(JSONValue(k)));
}

TEST_F(UserDefaultsTest, ForeignOrDamagedFileReadsAsEmptyAndIsReplaced) {
  suite()->setObject(JSONValue("x"), "k");
  closeAllUserDefaults();
  const std::string whole = textOfFile(database());
  ASSERT_GT(whole.size(), 4096u);
  std::string zeroed = whole;
  std::fill(zeroed.begin() + 4096, zeroed.end(), '\0');
  std::string scrambled = whole;
  for (std::size_t i = 100; i < 4096; i += 3) scrambled[i] = static_cast<char>(i * 7);

  const std::string contents[] = {"",     "hello",   std::string(5000, 'x'), whole.substr(0, 50), whole.substr(0, 4096),
                                  zeroed, scrambled, "\177ELF" + whole};
  for (const auto& text : contents) {
    closeAllUserDefaults();
    writeText(database(), text);
    EXPECT_EQ(suite()->objectForKey("k"), kNothing) << text.size();
    EXPECT_EQ(textOfFile(database()).substr(0, 5), text.empty() ? "SQLit" : text.substr(0, 5))
        << "reading changed the file";
    EXPECT_TRUE(suite()->setObject(JSONValue("new"), "k")) << text.size();
    EXPECT_TRUE(suite()->setObject(JSONValue(7), "other")) << text.size();
    EXPECT_EQ(reopened()->objectForKey("k"), PropertyValue(JSONValue("new")));
  }
}

TEST_F(UserDefaultsTest, StartsOverWhenItsFolderIsRemoved) {
  suite()->setObject(JSONValue(1), "k");
  std::filesystem::remove_all(folder / "Preferences");
  EXPECT_TRUE(suite()->setObject(JSONValue(2), "m"));
  EXPECT_EQ(suite()->objectForKey("k"), kNothing);
  EXPECT_EQ(reopened()->integerForKey("m"), 2);
}

TEST_F(UserDefaultsTest, FailedWriteReturnsFalseAndChangesNothing) {
  suite()->setObject(JSONValue("old"), "k");
  closeAllUserDefaults();
  EXPECT_TRUE(holdsInChild([] {
    if (!suite()->setObject(JSONValue("warm"), "w")) return false;
    limitFileSize(16384);
    bool failed = !suite()->setObject(Data(200000, 1), "k");
    suite()->synchronize();
    if (!failed || suite()->objectForKey("k") != PropertyValue(JSONValue("old"))) return false;
    limitFileSize(RLIM_INFINITY);
    return suite()->setObject(Data(200000, 1), "room") && suite()->synchronize();
  }));
  EXPECT_EQ(suite()->objectForKey("k"), PropertyValue(JSONValue("old")));
  EXPECT_EQ(suite()->objectForKey("room"), PropertyValue(Data(200000, 1)));

  setApplicationDataDirectory(folder.write("file", ""));
  EXPECT_FALSE(suite()->setObject(JSONValue(1), "k"));
  EXPECT_EQ(suite()->objectForKey("k"), kNothing);
}

TEST_F(UserDefaultsTest, ValuesInAReadOnlyFolderCanBeRead) {
  const PropertyValue old = JSONValue("old");
  const auto allow = [&](const std::string& mode) {
    EXPECT_EQ(outputOf("chmod -R " + mode + " '" + folder.path().string() + "'"), "");
  };
  // The first process closes the database normally. The second one is killed, so that its log is still present.
  for (bool isKilled : {false, true}) {
    statusOfChild([&] {
      suite()->setObject(old, "k");
      if (isKilled) ::raise(SIGKILL);
      closeAllUserDefaults();
      return true;
    });
    allow("a=rX");
    EXPECT_TRUE(holdsInChild([&] {
      // Root may write regardless of the modes, so the process becomes another user.
      const bool isOther = ::getuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0);
      return isOther && suite()->objectForKey("k") == old && suite()->objectForKey("none") == kNothing &&
             !suite()->setObject(JSONValue("new"), "k") && suite()->objectForKey("k") == old;
    })) << (isKilled ? "after a kill" : "");
    allow("u+rwX");
  }
}

TEST_F(UserDefaultsTest, LockedDatabaseFailsAfterTimeout) {
  suite()->setObject(JSONValue(1), "k");
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(database().c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
  // Each call waits two seconds. They wait in parallel: one after another they would exceed the test's time limit.
  inThreads(100, [](int i) { EXPECT_FALSE(suite()->setObject(JSONValue(2 + i), "k")); });
  EXPECT_EQ(suite()->integerForKey("k"), 1);
  sqlite3_close(other);
  EXPECT_TRUE(suite()->setObject(JSONValue(2), "k"));
}

TEST_F(UserDefaultsTest, OtherProgramsReadAndWriteTheDatabase) {
  suite()->setObject(JSONValue(JSONDictionary{{"a", JSONArray{1, "é"}}}), "json");
  suite()->setObject(Data{1, 2}, "bytes");
  suite()->setObject(dateFromSecondsSince1970(1.5), "date");
  EXPECT_EQ(shell("PRAGMA integrity_check; SELECT key, kind, quote(value) FROM entries ORDER BY key"),
            "ok\nbytes|1|X'0102'\ndate|2|1500000000\njson|0|'{\"a\":[1,\"é\"]}'\n");
  // The suite is open and has cached its values. It must notice the changes of the other program.
  EXPECT_EQ(shell("UPDATE entries SET value = x'616263' WHERE key = 'bytes';"
                  "INSERT INTO entries VALUES('new', 0, '[1, 2.5]'), ('bad', 0, '{torn'), ('odd', 9, 1)"),
            "");
  EXPECT_EQ(suite()->objectForKey("bytes"), PropertyValue(Data{'a', 'b', 'c'}));
  EXPECT_EQ(suite()->objectForKey("new"), PropertyValue(JSONValue(JSONArray{1, 2.5})));
  EXPECT_EQ(suite()->objectForKey("bad"), kNothing);
  EXPECT_EQ(suite()->objectForKey("odd"), kNothing);
  // The second setInteger() must write: its value equals the last one that this process wrote, but not the stored one.
  suite()->setInteger(1, "shared");
  EXPECT_EQ(shell("UPDATE entries SET value = '2' WHERE key = 'shared'"), "");
  suite()->setInteger(1, "shared");
  EXPECT_EQ(suite()->integerForKey("shared"), 1);
}
