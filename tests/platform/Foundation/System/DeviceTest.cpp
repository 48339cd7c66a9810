// SPDX-License-Identifier: Apache-2.0
#include "Foundation/System/Device.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

using namespace oq;
using namespace oq::test;

TEST(Device, AllProcessesShareOneIdentifier) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  EXPECT_TRUE(holdsInChildren<4>([&](int) {
    std::string identifier = identifierForVendor();
    return ::write(ends[1], identifier.data(), identifier.size()) == 36;
  }));
  std::string own = identifierForVendor();
  char text[4 * 36];
  ASSERT_EQ(::read(ends[0], text, sizeof text), static_cast<ssize_t>(sizeof text));
  EXPECT_EQ(std::string(text, sizeof text), own + own + own + own);
  EXPECT_EQ(own.find_first_not_of("0123456789ABCDEF-"), own.npos);
  for (int end : ends) ::close(end);
  EXPECT_EQ(modeOf(preferencesDirectory() / "identifierForVendor"), 0600u);

  writeText(preferencesDirectory() / "identifierForVendor", "torn");
  EXPECT_EQ(identifierForVendor().size(), 36u);
  EXPECT_EQ(identifierForVendor(), identifierForVendor());
}
