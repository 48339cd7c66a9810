#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/json/parse.hpp>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Foundation/FileManager.h"
#include "oqsdk/Value.h"

namespace oq::test {

/// An empty folder that is the application's data folder from now on. Kept until the process ends: the logger
/// of the process may have its file in it.
class TemporaryFolder {
 public:
  TemporaryFolder() : _path(root().path / std::to_string(++root().folders)) {
    std::filesystem::create_directories(_path);
    setApplicationDataDirectory(_path);
  }
  const std::filesystem::path& path() const { return _path; }

 private:
  struct Root {
    Root() {
      std::string pattern = (std::filesystem::temp_directory_path() / "oqsdk-XXXXXX").string();
      path = ::mkdtemp(pattern.data());
    }
    ~Root() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
    int folders = 0;
  };
  static Root& root() {
    static Root shared;
    return shared;
  }

  const std::filesystem::path _path;
};

inline std::string textOf(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

inline Value json(const std::string& text) {
  return boost::json::parse(text);
}

}  // namespace oq::test
