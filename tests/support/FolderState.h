// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/ScratchFolder.h"

namespace oq::test {

/// Names, contents and times of everything below a folder. Does not include SQLite's shared memory ("-shm"), in which
/// open connections note their locks.
class FolderState {
 public:
  explicit FolderState(std::filesystem::path folder) : _folder(std::move(folder)), _entries(entries()) {}

  /// The names of what was created, changed, touched or removed since this object was created.
  std::vector<std::string> changes() const {
    const auto now = entries();
    std::vector<std::string> changed;
    for (const auto& [name, state] : now) {
      const auto before = _entries.find(name);
      if (before == _entries.end() || before->second != state) changed.push_back(name);
    }
    for (const auto& [name, state] : _entries) {
      if (!now.contains(name)) changed.push_back(name);
    }
    return changed;
  }

 private:
  using Entries = std::map<std::string, std::pair<std::string, std::filesystem::file_time_type>>;

  Entries entries() const {
    Entries found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(_folder)) {
      const std::string name = entry.path();
      if (!name.ends_with("-shm"))
        found[name] = {entry.is_regular_file() ? textOfFile(entry) : "", entry.last_write_time()};
    }
    return found;
  }

  const std::filesystem::path _folder;
  const Entries _entries;
};

}  // namespace oq::test
