// SPDX-License-Identifier: Apache-2.0
#include "Foundation/System/Device.h"

#include <gtest/gtest.h>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

using namespace oq;
using namespace oq::test;

TEST(Device, AllProcessesShareOneIdentifier) {
  ScratchFolder folder;
  setApplicationDataDirectory(folder.path());
  EXPECT_TRUE(holdsInChildren<4>([&](int process) {
    writeText(folder / std::to_string(process), identifierForVendor());
    return true;
  }));
  const std::string own = identifierForVendor();
  for (int process = 0; process < 4; ++process) EXPECT_EQ(textOfFile(folder / std::to_string(process)), own);
  EXPECT_TRUE(own.size() == 36 && own.find_first_not_of("0123456789ABCDEF-") == own.npos) << own;
  EXPECT_EQ(modeOf(preferencesDirectory() / "identifierForVendor"), 0600u);

  writeText(preferencesDirectory() / "identifierForVendor", "torn");
  EXPECT_EQ(identifierForVendor().size(), 36u);
  EXPECT_EQ(identifierForVendor(), identifierForVendor());
}
