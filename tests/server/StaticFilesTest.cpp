// SPDX-License-Identifier: Apache-2.0
#include "StaticFiles.h"

#include <gtest/gtest.h>

#include "support/ScratchFolder.h"

namespace oq::server {
namespace {

using test::ScratchFolder;

TEST(StaticFiles, NeverServesFilesOutsideItsFolder) {
  const ScratchFolder outer;
  outer.write("secret.txt", "x");
  outer.write("public-not/secret.txt", "x");
  outer.write("public/ok.txt", "x");
  outer.write("public/.hidden", "x");
  outer.write("public/.git/config", "x");
  const auto root = outer.path() / "public";
  std::filesystem::create_symlink(outer.path() / "secret.txt", root / "link.txt");
  std::filesystem::create_directory_symlink(outer.path(), root / "up");
  std::filesystem::create_symlink("ok.txt", root / "inside.txt");
  const StaticFiles files(root);
  using namespace std::string_view_literals;
  const std::string absolute = outer.path() / "secret.txt";
  const std::string_view refused[] = {
      // paths that lead out of the folder
      "../secret.txt", "./ok.txt", "x/../ok.txt", "a/../../secret.txt", "..", ".", "", "/", "//ok.txt", "ok.txt/",
      "../public/ok.txt", "../public-not/secret.txt", absolute,
      // links to the outside, hidden names, names that are not files
      "up/secret.txt", "link.txt", ".hidden", ".git/config", "ok.txt\0.png"sv, "missing.txt", "up"};
  for (const auto name : refused) EXPECT_FALSE(files.find(name)) << name;
  for (const auto* name : {"ok.txt", "inside.txt"}) EXPECT_TRUE(files.find(name)) << name;
}

}  // namespace
}  // namespace oq::server
