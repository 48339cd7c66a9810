#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace oq::server {

// The pictures and pages of one folder. Nothing outside it can be named, neither by ".." nor through a
// symbolic link; hidden files and folders themselves are not served. Any thread.
class StaticFiles {
 public:
  // Throws std::runtime_error when the folder does not exist.
  explicit StaticFiles(const std::filesystem::path& folder);

  struct File {
    std::filesystem::path path;
    std::string contentType;
  };

  // `name` is the decoded part of the address after "/static/". Nothing when it may not or cannot be served.
  std::optional<File> find(std::string_view name) const;

 private:
  std::filesystem::path _folder;  // canonical
};

}  // namespace oq::server
