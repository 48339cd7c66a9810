// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace oq::test {

inline std::string textOfFile(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(stream), {});
}

inline void writeText(const std::filesystem::path& file, const std::string& text) {
  std::ofstream(file, std::ios::binary) << text;
}

inline unsigned modeOf(const std::filesystem::path& path) {
  return static_cast<unsigned>(std::filesystem::status(path).permissions());
}

/// A temporary folder, deleted with everything in it by the destructor.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "oqsdk-test-XXXXXX").string();
    if (!::mkdtemp(name.data())) throw std::runtime_error("cannot create a temporary folder");
    _path = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(_path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }
  std::filesystem::path operator/(const std::string& name) const { return _path / name; }
  /// Writes the file and creates its folders.
  std::filesystem::path write(const std::string& name, const std::string& text) const {
    const auto file = _path / name;
    std::filesystem::create_directories(file.parent_path());
    writeText(file, text);
    return file;
  }

 private:
  std::filesystem::path _path;
};

/// Creates an empty folder. It is deleted only when the process ends, since the process-wide logger may have a file in
/// it.
inline std::filesystem::path freshFolder() {
  static const ScratchFolder root;
  static int number = 0;
  const auto folder = root / std::to_string(++number);
  std::filesystem::create_directory(folder);
  return folder;
}

/// Limits the size of files that this process writes, as on a full disk.
inline void limitFileSize(rlim_t bytes) {
  const rlimit limit{bytes, RLIM_INFINITY};
  ::setrlimit(RLIMIT_FSIZE, &limit);
}

/// Waits for the process and returns its status as from waitpid().
inline int statusOf(pid_t process) {
  int status = -1;
  ::waitpid(process, &status, 0);
  return status;
}

/// Runs the body in a forked process and returns the process's status. The exit code is 0 if the body returns true.
template <class Body>
int statusOfChild(Body body) {
  pid_t child = ::fork();
  if (child == 0) ::_exit(body() ? 0 : 1);
  return statusOf(child);
}

template <class Body>
bool holdsInChild(Body body) {
  return statusOfChild(body) == 0;
}

/// Runs the body in `count` parallel processes, with the process's number as argument. True if all return true.
template <int count, class Body>
bool holdsInChildren(Body body) {
  pid_t children[count];
  for (int number = 0; number < count; ++number) {
    children[number] = ::fork();
    if (children[number] == 0) ::_exit(body(number) ? 0 : 1);
  }
  bool holds = true;
  for (pid_t child : children) holds &= statusOf(child) == 0;
  return holds;
}

}  // namespace oq::test
