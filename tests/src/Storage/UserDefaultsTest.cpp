// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQUserDefaults.h"

#include <gtest/gtest.h>

#include "Foundation/Stores/UserDefaults.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

class SmallValues : public testing::Test {
 protected:
  ~SmallValues() override { closeAllUserDefaults(); }
  test::TemporaryFolder folder;
};

TEST_F(SmallValues, SuitesAreSeparateAndTheFirstDefaultNameWins) {
  OQUserDefaults& first = OQUserDefaults::defaultsWithName("group.oqsdk");
  EXPECT_EQ(&OQUserDefaults::defaultsWithName("group.other"), &first);
  OQUserDefaults suite("group.oqsdk"), other("group.other"), standard(std::nullopt);
  suite.setObject("suite", "key");
  standard.setObject("standard", "key");
  EXPECT_EQ(first.objectForKey("key"), JSONValue("suite"));
  EXPECT_TRUE(other.objectForKey("key").is_null());
  EXPECT_EQ(standard.objectForKey("key"), JSONValue("standard"));
  UserDefaults::withSuiteName("group.oqsdk")->setObject(Data{1, 2}, "bytes");
  EXPECT_TRUE(suite.objectForKey("bytes").is_null());
  suite.setInteger(2, "number");
  closeAllUserDefaults();
  EXPECT_EQ(suite.integerForKey("number"), 2);
  suite.setObject(nullptr, "key");
  EXPECT_TRUE(suite.objectForKey("key").is_null());
}

// A new version finds the environment that an earlier one has stored.
TEST_F(SmallValues, EnvironmentHasItsPlaceInTheLibrarysSuite) {
  OQUserDefaults::setEnvironment(1);
  EXPECT_EQ(UserDefaults::withSuiteName("group.oqsdk")->integerForKey("envType"), 1);
}

}  // namespace
}  // namespace oq
