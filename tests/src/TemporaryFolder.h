#pragma once

#include <boost/json/parse.hpp>
#include <filesystem>
#include <string>

#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/JSONValue.h"
#include "support/ScratchFolder.h"

namespace oq::test {

/// An empty folder that is the application's data folder from now on. Kept until the process ends: the logger
/// of the process may have its file in it.
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
