// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Files/Bundle.h"

#include <errno.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include "Foundation/Files/FileManager.h"
#include "support/ScratchFolder.h"

using namespace oq;
using namespace oq::test;

TEST(Bundle, FindsResourcesInTheFolderOfTheEnvironmentVariable) {
  ScratchFolder folder;
  folder.write("Some.bundle/a.txt", "x");
  ::setenv("OQSDK_RESOURCE_DIR", folder.path().c_str(), 1);
  EXPECT_EQ(pathForResource("Some", "a.txt"), folder / "Some.bundle/a.txt");
  EXPECT_FALSE(pathForResource("Some", "b.txt") || pathForResource("Other", "a.txt"));
  ::unsetenv("OQSDK_RESOURCE_DIR");
  EXPECT_FALSE(pathForResourceBundle("Some"));
}

TEST(Bundle, IdentifierIsTheProgramNameUntilSetAndNamesTheDataFolder) {
  EXPECT_EQ(mainBundleIdentifier(), program_invocation_short_name);
  setMainBundle("com.example.shop", "2.1");
  ::setenv("XDG_DATA_HOME", "/somewhere", 1);
  setApplicationDataDirectory("");
  EXPECT_EQ(applicationDataDirectory(), "/somewhere/com.example.shop");
  setMainBundle("../../etc", "");
  EXPECT_EQ(applicationDataDirectory(), "/somewhere/.._.._etc");
}
