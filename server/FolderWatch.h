// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <map>

namespace oq::server {

// Reports that a file may have new content. Watches the file's folder, and so notices a file that is written in place,
// replaced by a rename, or created again after a deletion. If the file is a symbolic link, the folder of each target
// (a target may be a link again) is also watched. For one thread only.
class FolderWatch {
 public:
  // Throws std::system_error if a folder cannot be watched.
  explicit FolderWatch(const std::filesystem::path& file);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // A descriptor for poll(). It is readable when there are events in the watched folders.
  int descriptor() const { return _descriptor; }

  // Reads the pending events without waiting. True if the file should be read again.
  bool takeChanges();

 private:
  void _follow();
  bool _takeEvents();

  std::filesystem::path _file;
  int _descriptor;
  std::map<int, std::filesystem::path> _folders;  // the watched folders by watch descriptor
};

}  // namespace oq::server
