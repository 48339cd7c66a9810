// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/MailFiles.h"

#include <gtest/gtest.h>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

namespace oq {
namespace {

TEST(MailFiles, InvalidAndDuplicateNamesAreChanged) {
  setApplicationDataDirectory(test::freshFolder());
  std::string longest;
  for (int i = 0; i < 100; ++i) longest += "\xe4\xbe\x8b";  // three bytes; the limit of 200 is inside a character
  std::vector<std::string> names;
  for (const auto& file : writeMailFiles({{Data{1}, "a.log"},
                                          {Data{2}, "a.log"},
                                          {Data{3}, "../b\n"},
                                          {Data{4}, ".."},
                                          {Data{5}, longest + ".txt"}})) {
    names.push_back(file.filename());
  }
  ASSERT_EQ(names.size(), 5u);
  EXPECT_EQ((std::vector<std::string>(names.begin(), names.end() - 1)),
            (std::vector<std::string>{"a.log", "2-a.log", ".._b_", "attachment"}));
  EXPECT_EQ(names[4], longest.substr(0, 195) + ".txt") << "whole characters at the front";
}

}  // namespace
}  // namespace oq
