// SPDX-License-Identifier: Apache-2.0
#include "StaticFiles.h"

#include <gtest/gtest.h>

#include "support/ScratchFolder.h"

namespace oq::server {
namespace {

using test::ScratchFolder;

TEST(StaticFiles, FindsFilesWithTheirContentType) {
  const ScratchFolder folder;
  const std::pair<const char*, const char*> cases[] = {
      {"a.png", "image/png"},
      {"deep/er/B.JPG", "image/jpeg"},
      {"page.html", "text/html; charset=utf-8"},
      {"图片 1.svg", "image/svg+xml"},
      {"unknown", "application/octet-stream"},
      {"a..b", "application/octet-stream"},
  };
  for (const auto& [name, type] : cases) {
    const auto written = folder.write(name, "x");
    const auto file = StaticFiles(folder.path()).find(name);
    ASSERT_TRUE(file) << name;
    EXPECT_EQ(file->contentType, type);
    EXPECT_TRUE(std::filesystem::equivalent(file->path, written));
  }
}

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
  EXPECT_TRUE(files.find("ok.txt"));
  EXPECT_TRUE(files.find("inside.txt"));
}

TEST(StaticFiles, RequiresAFolder) {
  const ScratchFolder folder;
  EXPECT_THROW(StaticFiles(folder.path() / "missing"), std::runtime_error);
  EXPECT_THROW(StaticFiles(folder.write("file", "x")), std::runtime_error);
}

}  // namespace
}  // namespace oq::server
