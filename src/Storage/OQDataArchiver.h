// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "Foundation/Files/FileManager.h"
#include "Foundation/PropertyLists/KeyedArchiver.h"

namespace oq {

/// The engine's files in the documents folder.
inline constexpr const char* OQInAppWindowDataFileName = "OQInAppWindowData.plist";
inline constexpr const char* OQSubscribeWindowDataFileName = "OQSubscribeWindowData.plist";
inline constexpr const char* OQRecordTreeDataFileName = "OQRecordTreeData.plist";

/// Arrays of archived objects in files. A file is replaced completely or not at all. Thread-safe; if two threads write
/// the same file, the later write remains.
class OQDataArchiver {
 public:
  template <class T>
  using Objects = std::vector<std::shared_ptr<T>>;

  /// Writes the objects and returns whether that succeeded. Returns false without writing if `data` is nullptr. Objects
  /// that are nullptr are left out.
  template <class T>
  static bool setData(const Objects<T>* data, const std::filesystem::path& path) {
    return data && writeFileAtomically(path, archiveOf(*data));
  }
  template <class T>
  static bool setData(const Objects<T>& data, const std::filesystem::path& path) {
    return setData(&data, path);
  }
  template <class T>
  static bool setData(const std::shared_ptr<T>& data, const std::filesystem::path& path) {
    return setData(data.get(), path);
  }
  static bool setData(std::nullptr_t, const std::filesystem::path&) { return false; }

  /// The bytes that setData() writes.
  template <class T>
  static Data archiveOf(const Objects<T>& data) {
    Roots roots;
    roots.reserve(data.size());
    for (const auto& object : data) {
      if (object) roots.push_back(object);
    }
    return KeyedArchiver::archivedDataWithRootObjects(roots);
  }

  /// The array in the file; nullopt if there is no file, or if the file is damaged or contains anything else.
  /// `version`, if given, is set to the version of the file that was read.
  template <class T>
  static std::optional<Objects<T>> getDataForPath(const std::filesystem::path& path, FileVersion* version = nullptr) {
    std::optional<Data> bytes = contentsOfFile(path, kUsualFileLimit, version);
    if (!bytes) return std::nullopt;
    return KeyedUnarchiver::unarchiveArrayOf<T>(*bytes);
  }

 private:
  using Roots = std::vector<std::shared_ptr<const SecureCoding>>;
};

}  // namespace oq
