// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQDataArchiver.h"

#include <gtest/gtest.h>

#include "Model/OQWindowData.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

using Windows = std::vector<std::shared_ptr<OQWindowData>>;

std::shared_ptr<OQWindowData> window(const char* id) {
  auto made = std::make_shared<OQWindowData>();
  made->setWindowId(id);
  return made;
}

TEST(DataArchiver, WritesNothingWithoutDataAndDistinguishesItFromAnEmptyList) {
  test::TemporaryFolder folder;
  auto file = folder.path() / "list.plist";
  EXPECT_FALSE(OQDataArchiver::setData(nullptr, file));
  EXPECT_FALSE(OQDataArchiver::setData(static_cast<const Windows*>(nullptr), file));
  EXPECT_FALSE(OQDataArchiver::setData(std::shared_ptr<Windows>(), file));
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_FALSE(OQDataArchiver::getDataForPath<OQWindowData>(file));
  ASSERT_TRUE(OQDataArchiver::setData(Windows{}, file));
  auto list = OQDataArchiver::getDataForPath<OQWindowData>(file);
  ASSERT_TRUE(list);
  EXPECT_TRUE(list->empty());
  // nullptr objects are left out, and a failed write returns false.
  ASSERT_TRUE(OQDataArchiver::setData(Windows{window("a"), nullptr, window("b")}, file));
  EXPECT_FALSE(OQDataArchiver::setData(Windows{window("c")}, folder.path() / "missing" / "list.plist"));
  list = OQDataArchiver::getDataForPath<OQWindowData>(file);
  ASSERT_TRUE(list);
  ASSERT_EQ(list->size(), 2u);
  EXPECT_EQ(list->back()->windowId(), JSONValue("b"));
}

}  // namespace
}  // namespace oq
