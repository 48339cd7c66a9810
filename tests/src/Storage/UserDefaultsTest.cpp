#include "Storage/OQUserDefaults.h"

#include <gtest/gtest.h>

#include "Foundation/UserDefaults.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

class SmallValues : public testing::Test {
 protected:
  ~SmallValues() override { closeAllUserDefaults(); }
  test::TemporaryFolder folder;
};

TEST_F(SmallValues, KeepApartButTheFirstNameAskedForWins) {
  OQUserDefaults& first = OQUserDefaults::defaultsWithName("group.oqsdk");
  EXPECT_EQ(&OQUserDefaults::defaultsWithName("group.other"), &first);
  OQUserDefaults suite("group.oqsdk"), other("group.other"), standard(std::nullopt);
  suite.setObject("suite", "key");
  standard.setObject("standard", "key");
  EXPECT_EQ(first.objectForKey("key"), Value("suite"));
  EXPECT_TRUE(other.objectForKey("key").is_null());
  EXPECT_EQ(standard.objectForKey("key"), Value("standard"));
  UserDefaults::withSuiteName("group.oqsdk")->setObject(Data{1, 2}, "bytes");
  EXPECT_TRUE(suite.objectForKey("bytes").is_null());
}

TEST_F(SmallValues, SurviveTheProcessAndGoWithNull) {
  {
    OQUserDefaults suite("group.oqsdk");
    suite.setInteger(2, "envType");
    suite.setObject("alice", "oq_xwho");
    suite.setObject("7 days", "text");
  }
  closeAllUserDefaults();
  OQUserDefaults suite("group.oqsdk");
  EXPECT_EQ(suite.integerForKey("envType"), 2);
  EXPECT_EQ(suite.objectForKey("oq_xwho"), Value("alice"));
  EXPECT_EQ(suite.integerForKey("text"), 7);
  EXPECT_EQ(suite.integerForKey("absent"), 0);
  suite.setObject(nullptr, "oq_xwho");
  EXPECT_TRUE(suite.objectForKey("oq_xwho").is_null());
}

}  // namespace
}  // namespace oq
