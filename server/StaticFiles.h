// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace oq::server {

// The pictures and pages of one folder. Files outside the folder cannot be reached, neither by ".." nor through a
// symbolic link. Hidden files and directory listings are not served. Any thread may use an object.
class StaticFiles {
 public:
  // Throws std::runtime_error if the folder does not exist.
  explicit StaticFiles(const std::filesystem::path& folder);

  struct File {
    std::filesystem::path path;
    std::string contentType;
  };

  // `name` is the decoded part of the URL's path after "/static/". Returns nullopt if the file is not allowed or does
  // not exist.
  std::optional<File> find(std::string_view name) const;

 private:
  std::filesystem::path _folder;  // canonical
};

}  // namespace oq::server
