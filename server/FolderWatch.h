#pragma once

#include <filesystem>
#include <map>

namespace oq::server {

// Tells when a file may have a new content. It watches the file's folder, so that it sees a file that is
// written in place as well as one that is renamed over the old one or comes back after being away; and of a
// link, the folders of all that it leads to. One thread.
class FolderWatch {
 public:
  // Throws std::system_error when a folder cannot be watched.
  explicit FolderWatch(const std::filesystem::path& file);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Readable when something happened in the folders.
  int descriptor() const { return _descriptor; }

  // Takes what happened, without waiting. True when the file is worth reading again.
  bool takeChanges();

 private:
  void _follow();
  bool _takeEvents();

  std::filesystem::path _file;
  int _descriptor;
  std::map<int, std::filesystem::path> _folders;  // by the number of their watch
};

}  // namespace oq::server
