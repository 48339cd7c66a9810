#pragma once

#include <boost/json/parse.hpp>
#include <filesystem>
#include <string>

#include "Foundation/Files/FileManager.h"
#include "oqsdk/Value.h"
#include "support/ScratchFolder.h"

namespace oq::test {

/// A new empty folder that becomes the application's data folder. Not removed until the process ends, because the
/// logger may have its file in it.
class TemporaryFolder {
 public:
  TemporaryFolder() { setApplicationDataDirectory(_path); }
  const std::filesystem::path& path() const { return _path; }

 private:
  const std::filesystem::path _path = freshFolder();
};

inline Value json(const std::string& text) {
  return boost::json::parse(text);
}

}  // namespace oq::test
