#pragma once

#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace oq::test {

/// A folder of the test's own, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "oq-test-XXXXXX").string();
    _path = ::mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code error;
    std::filesystem::remove_all(_path, error);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return _path; }
  std::filesystem::path operator/(const std::string& name) const { return _path / name; }

 private:
  std::filesystem::path _path;
};

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

/// Runs the body in a forked process and gives back how that ended, as waitpid says it. The body's true is
/// exit code 0.
template <class Body>
int statusOfChild(Body body) {
  pid_t child = ::fork();
  if (child == 0) ::_exit(body() ? 0 : 1);
  int status = -1;
  ::waitpid(child, &status, 0);
  return status;
}

template <class Body>
bool holdsInChild(Body body) {
  int status = statusOfChild(body);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace oq::test
