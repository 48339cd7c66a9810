#pragma once

#include <filesystem>
#include <memory>
#include <string_view>

namespace oq {

/// A file that is written from its beginning on. One thread at a time; closed when it is destroyed.
class FileHandle {
 public:
  /// Makes the file, or empties the one that is there; mode 0600 either way. nullptr when it cannot be
  /// opened.
  static std::unique_ptr<FileHandle> createForWriting(const std::filesystem::path& file);
  ~FileHandle();
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  /// False when not all of it could be written; what was written stays. Raises no signal.
  bool writeData(std::string_view bytes);

 private:
  explicit FileHandle(int descriptor) : _descriptor(descriptor) {}
  const int _descriptor;
};

}  // namespace oq
