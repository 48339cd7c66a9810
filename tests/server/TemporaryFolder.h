#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

// A folder that is gone, with everything in it, when the test ends.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "oqsdk-server-test-XXXXXX";
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    _path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }

  std::filesystem::path write(const std::filesystem::path& name, const std::string& text) const {
    const auto file = _path / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc) << text;
    return file;
  }

 private:
  std::filesystem::path _path;
};
