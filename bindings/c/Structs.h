// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>

#include "Foundation/System/HostCall.h"
#include "c/Guard.h"

namespace oq::c {

/// The size of a struct in the first version of the header. No struct has padding at its end, so that an appended field
/// changes the size. `last` is the last field of
/// that version, and stays the same when later versions append fields.
#define OQ_FIRST_SIZE(type, last) (offsetof(type, last) + sizeof(type::last))

/// Copies a struct of the program, which may have been compiled with another version of the header. Fields that the
/// program's struct does not have are 0 in the copy. Throws a Failure if the struct is NULL, if its size is wrong, or
/// if a field that this library does not know is not 0. `flags` are the fields of type bool: another language may store
/// any number in one, and each but 0 means true.
template <class Struct>
Struct readStruct(const Struct* given, std::size_t firstSize, const char* name,
                  std::initializer_list<bool Struct::*> flags = {}) {
  // No version of a struct is larger. The limit keeps a wrong size from reading far beyond the struct.
  constexpr std::size_t kLargest = 1024;
  if (!given) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is NULL.");
  std::size_t size = 0;
  std::memcpy(&size, given, sizeof size);
  if (size < firstSize || size > kLargest)
    throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " has a wrong size. Initialise it with its INIT macro.");
  const auto* bytes = reinterpret_cast<const unsigned char*>(given);
  const std::size_t known = std::min(size, sizeof(Struct));
  if (std::any_of(bytes + known, bytes + size, [](unsigned char byte) { return byte != 0; }))
    throw Failure(OQ_ERROR_ARGUMENT,
                  std::string(name) + " uses a field that this version of the library does not have.");
  Struct read{};
  std::memcpy(&read, bytes, known);
  if constexpr (requires { read.reserved; }) {
    if (std::any_of(std::begin(read.reserved), std::end(read.reserved), [](auto byte) { return byte != 0; }))
      throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + ".reserved is not 0. Initialise it with its INIT macro.");
  }
  for (bool Struct::*const flag : flags) {
    unsigned char stored = 0;
    std::memcpy(&stored, &(read.*flag), sizeof stored);
    read.*flag = stored != 0;
  }
  return read;
}

/// The data pointer that the program passed with its callbacks, and the program's function `release`, which is called
/// when no callback can use the pointer any more. The callbacks that use the pointer share one CallerData.
class CallerData {
 public:
  using Release = void (*)(void*);

  explicit CallerData(void* data) : _data(data) {}
  ~CallerData() {
    if (_release) callHost([&] { _release(_data); });
  }
  CallerData(const CallerData&) = delete;
  CallerData& operator=(const CallerData&) = delete;

  void* get() const { return _data; }
  /// To be called after the library has accepted the callbacks. After a failed call, `release` is not called.
  void accept(Release release) { _release = release; }

 private:
  void* _data;
  Release _release = nullptr;
};

}  // namespace oq::c
