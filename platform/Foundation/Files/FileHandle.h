// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

#include "Foundation/Files/FileDescriptor.h"

namespace oq {

/// A file that is written from its beginning. Not thread-safe. Closed on destruction.
class FileHandle {
 public:
  /// Creates the file or empties an existing one; its mode becomes 0600. nullptr if it cannot be opened, or if the name
  /// belongs to a link or anything else that is not a regular file.
  static std::unique_ptr<FileHandle> createForWriting(const std::filesystem::path& file);
  /// Like createForWriting(), but nullptr if anything with this name exists.
  static std::unique_ptr<FileHandle> createNew(const std::filesystem::path& file);
  FileHandle(const FileHandle&) = delete;
  FileHandle& operator=(const FileHandle&) = delete;

  /// False if the bytes could not be written completely. Complete lines are kept; an incomplete line is removed, so
  /// that the next write starts a new line. Raises no signal.
  bool writeData(std::string_view bytes);

 private:
  static std::unique_ptr<FileHandle> open(const std::filesystem::path& file, int additionalFlags);
  void takeBackTornLine(std::string_view written);
  explicit FileHandle(FileDescriptor descriptor) : _descriptor(std::move(descriptor)) {}
  const FileDescriptor _descriptor;
};

}  // namespace oq
