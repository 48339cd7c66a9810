#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// A file that is written from its beginning on. One thread at a time; closed when it is destroyed.
class FileHandle {
 public:
  /// Makes the file, or empties the one that is there; mode 0600 either way. nullptr when it cannot be
  /// opened, or when a link or anything else that is no file has the name.
  static std::unique_ptr<FileHandle> createForWriting(const std::filesystem::path& file);
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  /// False when not all of it could be written. The lines that were written stay; a part of one is taken back, so that
  /// the next write begins a line of its own. Raises no signal.
  bool writeData(std::string_view bytes);

 private:
  void takeBackTornLine(std::string_view written);
  explicit FileHandle(FileDescriptor descriptor) : _descriptor(std::move(descriptor)) {}
  const FileDescriptor _descriptor;
};

}  // namespace oq
