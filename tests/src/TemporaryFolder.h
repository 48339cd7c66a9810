// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json/parse.hpp>
#include <filesystem>
#include <string>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/JSONValue.h"
#include "support/ScratchFolder.h"

namespace oq::test {

/// Creates an empty folder and makes it the application's data folder. It is deleted only when the process ends, since
/// the process-wide logger may have a file in it.
class TemporaryFolder {
 public:
  TemporaryFolder() { setApplicationDataDirectory(_path); }
  const std::filesystem::path& path() const { return _path; }

 private:
  const std::filesystem::path _path = freshFolder();
};

inline JSONValue json(const std::string& text) {
  return boost::json::parse(text);
}

}  // namespace oq::test
