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

  /// Returns whether the file was written; false without data. nullptr objects are left out. `replaced` is passed to
  /// writeFileAtomically().
  template <class T>
  static bool setData(const Objects<T>* data, const std::filesystem::path& path,
                      const FileReplaced& replaced = nullptr) {
    if (!data) return false;
    Roots roots;
    roots.reserve(data->size());
    for (const auto& object : *data) {
      if (object) roots.push_back(object);
    }
    return write(roots, path, replaced);
  }
  template <class T>
  static bool setData(const Objects<T>& data, const std::filesystem::path& path,
                      const FileReplaced& replaced = nullptr) {
    return setData(&data, path, replaced);
  }
  template <class T>
  static bool setData(const std::shared_ptr<T>& data, const std::filesystem::path& path) {
    return setData(data.get(), path);
  }
  static bool setData(std::nullptr_t, const std::filesystem::path&) { return false; }

  /// The array in the file; nullopt if the file is missing, damaged or has other contents. `version`, if given, is set
  /// to the file that was read.
  template <class T>
  static std::optional<Objects<T>> getDataForPath(const std::filesystem::path& path, FileVersion* version = nullptr) {
    std::optional<Data> bytes = contentsOfFile(path, UsualFileLimit, version);
    if (!bytes) return std::nullopt;
    return KeyedUnarchiver::unarchiveArrayOf<T>(*bytes);
  }

 private:
  using Roots = std::vector<std::shared_ptr<const SecureCoding>>;
  static bool write(const Roots& roots, const std::filesystem::path& path, const FileReplaced& replaced);
};

}  // namespace oq
