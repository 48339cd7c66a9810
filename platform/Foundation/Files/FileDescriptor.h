// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <utility>

namespace oq {

/// Owns an open file and closes it. Converts to false if the file could not be opened.
class FileDescriptor {
 public:
  explicit FileDescriptor(int descriptor = -1) : _descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(_descriptor, other._descriptor);
    return *this;
  }
  ~FileDescriptor() { close(); }

  explicit operator bool() const { return _descriptor >= 0; }
  int get() const { return _descriptor; }
  /// Returns the descriptor without closing it. The object no longer owns it.
  int release() { return std::exchange(_descriptor, -1); }
  /// False if close() reports a delayed write error, or if no file was open.
  bool close() {
    int descriptor = std::exchange(_descriptor, -1);
    return descriptor >= 0 && ::close(descriptor) == 0;
  }

 private:
  int _descriptor;
};

}  // namespace oq
