// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sstream>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/System/Device.h"
#include "Model/OQRecordTree.h"
#include "Security/FileKeychainStore.h"
#include "Storage/OQDataArchiver.h"
#include "Utils/OQLogger.h"
#include "src/TemporaryFolder.h"
#include "support/Faults.h"

// Not under ThreadSanitizer, which does not intercept all of the system's functions that fail here.
#ifndef __SANITIZE_THREAD__

/// Each system call of the stores fails once, one after the other. Afterwards the store has the old value or the new
/// one (the new one if the write returned true), and the next write works.
namespace oq::test {
namespace {

struct Store {
  const char* name;
  std::function<bool(std::int64_t)> write;
  std::function<std::optional<std::int64_t>()> read;
};

bool writeArchive(std::int64_t number) {
  auto node = std::make_shared<OQRecordTreeNode>();
  node->setNodeId(number);
  return OQDataArchiver::setData(OQDataArchiver::Objects<OQRecordTreeNode>{node, node},
                                 documentsDirectory() / OQRecordTreeDataFileName);
}

std::optional<std::int64_t> readArchive() {
  auto nodes = OQDataArchiver::getDataForPath<OQRecordTreeNode>(applicationDataDirectory() / "Documents" /
                                                                OQRecordTreeDataFileName);
  return nodes && nodes->size() == 2 ? std::optional(nodes->front()->nodeId()) : std::nullopt;
}

bool writeDefaults(std::int64_t number) {
  auto suite = UserDefaults::withSuiteName("group.oqsdk");
  bool isKept = number > 1 || suite->setObject(JSONValue("kept"), "neighbour");
  return isKept && suite->setObject(JSONValue(number), "number") && suite->synchronize();
}

std::optional<std::int64_t> readDefaults() {
  auto suite = UserDefaults::withSuiteName("group.oqsdk");
  std::int64_t number = suite->integerForKey("number");
  bool isKept = number == 0 || suite->objectForKey("neighbour") == PropertyValue(JSONValue("kept"));
  return isKept && number != 0 ? std::optional(number) : std::nullopt;
}

const KeychainAttributes kKeychainItem{{std::string(kSecAttrGeneric), "UUID"}};

bool writeKeychain(std::int64_t number) {
  Data data = dataFromString(std::to_string(number));
  OSStatus status = FileKeychainStore().update(kKeychainItem, {{}, data});
  if (status == errSecItemNotFound) status = FileKeychainStore().add({kKeychainItem, data});
  return status == errSecSuccess;
}

std::optional<std::int64_t> readKeychain() {
  KeychainItem item;
  if (FileKeychainStore().copyMatching(kKeychainItem, true, item) != errSecSuccess) return std::nullopt;
  return std::stoll(stringFromData(item.data));
}

class StoreFaults : public testing::TestWithParam<Store> {
 protected:
  ~StoreFaults() override { closeAllUserDefaults(); }

  template <class Work>
  static auto attempt(Faults::Kind kind, int number, bool& hasStruck, Work work) {
    Faults::Armed fault(kind, number);
    auto answer = work();
    hasStruck |= fault.hasStruck();
    return answer;
  }

  TemporaryFolder folder;
};

TEST_P(StoreFaults, KeepsTheOldOrTheNewValue) {
  const Store& store = GetParam();
  for (Faults::Kind kind : {Faults::Kind::fileCall, Faults::Kind::databaseStep}) {
    for (bool isCold : {false, true}) {
      const auto closeIfCold = [&] {
        if (isCold) closeAllUserDefaults();
      };
      std::int64_t kept = 1;
      ASSERT_TRUE(store.write(kept));
      bool hasStruck = true;
      for (int number = 1; hasStruck; ++number) {
        SCOPED_TRACE(testing::Message() << (isCold ? "cold " : "warm ") << static_cast<int>(kind) << "." << number);
        hasStruck = false;
        closeIfCold();
        const std::int64_t wanted = kept + 1;
        const bool isWritten = attempt(kind, number, hasStruck, [&] { return store.write(wanted); });
        closeIfCold();
        const auto found = store.read();
        ASSERT_TRUE(found == wanted || (found == kept && !isWritten)) << found.value_or(0) << " for " << wanted;
        closeIfCold();
        const auto seen = attempt(kind, number, hasStruck, store.read);
        ASSERT_TRUE(!seen || seen == found) << *seen << " for " << *found;
        ASSERT_EQ(store.read(), found);
        kept = wanted + 1;
        ASSERT_TRUE(store.write(kept));
        ASSERT_EQ(store.read(), kept);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Stores, StoreFaults,
                         testing::Values(Store{"archive", writeArchive, readArchive},
                                         Store{"defaults", writeDefaults, readDefaults},
                                         Store{"keychain", writeKeychain, readKeychain}),
                         [](const auto& store) { return std::string(store.param.name); });

TEST_F(StoreFaults, IdentifierIsMissingOrPermanent) {
  bool hasStruck = true;
  for (int number = 1; hasStruck; ++number) {
    std::filesystem::remove_all(folder.path() / "Preferences");
    hasStruck = false;
    const std::string made = attempt(Faults::Kind::fileCall, number, hasStruck, identifierForVendor);
    const std::string found = identifierForVendor();
    ASSERT_EQ(found.size(), 36u) << number;
    ASSERT_TRUE(made.empty() || made == found) << number;
  }
}

TEST_F(StoreFaults, LogHasOnlyCompleteEntries) {
  OQLogger logger(folder.path() / "Log");
  bool hasStruck = true;
  for (int number = 1; hasStruck; ++number) {
    hasStruck = false;
    attempt(Faults::Kind::fileCall, number, hasStruck, [&] {
      logger._log("entry " + std::to_string(number));
      logger._log("entry of more than a few bytes " + std::to_string(number));
      logger.flush();
      return true;
    });
    logger._log("after " + std::to_string(number));
    logger.flush();
    std::istringstream lines(textOfFile(logger.logFilePath()));
    std::string line, last;
    for (int header = 0; header < 5; ++header) std::getline(lines, line);
    static const std::regex entry(R"([0-9-]{10} [0-9:]{8}\.[0-9]{3}  (entry|after) .*[0-9]+)");
    for (; std::getline(lines, line); last = line) ASSERT_TRUE(std::regex_match(line, entry)) << line;
    ASSERT_TRUE(last.ends_with("  after " + std::to_string(number))) << last;
  }
}

}  // namespace
}  // namespace oq::test

#endif
