// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "CoreGraphics/Color.h"
#include "Foundation/PropertyLists/BinaryPropertyListView.h"
#include "Foundation/Values/Data.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

class KeyedArchiver;
class KeyedUnarchiver;

/// An object that can be stored in a keyed archive. It is written once, however often it is referenced.
class SecureCoding {
 public:
  virtual ~SecureCoding() = default;
  /// The class name in the archive, by which a reader identifies the class.
  virtual std::string archivedClassName() const = 0;
  /// The names of the archived class's superclasses, nearest first, "NSObject" last.
  virtual std::vector<std::string> archivedSuperclassNames() const { return {"NSObject"}; }
  virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;
};

/// Writes objects in the standard keyed-archive layout ("$archiver", "$objects", "$top", class names), sealed with a
/// checksum. Each object's encodeWithCoder() gets an archiver that writes the contents of that object.
class KeyedArchiver {
 public:
  /// Archives an array of objects as the root.
  static Data archivedDataWithRootObjects(const std::vector<std::shared_ptr<const SecureCoding>>& objects);

  void encodeInteger(std::int64_t value, std::string_view key);
  void encodeBool(bool value, std::string_view key);
  void encodeFloat(float value, std::string_view key);
  void encodeDouble(double value, std::string_view key);
  /// Writes the value; null writes the archive's null object.
  void encodeObject(const JSONValue& value, std::string_view key);
  void encodeObject(const std::shared_ptr<const SecureCoding>& object, std::string_view key);
  void encodeObject(const std::optional<UIColor>& color, std::string_view key);

 private:
  class Writer;
  explicit KeyedArchiver(Writer& writer) : _writer(writer) {}
  Writer& _writer;
};

/// Reads one object of an archive; passed to the object's initWithCoder(). A key that is absent or has another type
/// reads as 0, false, null, std::nullopt or nullptr.
class KeyedUnarchiver {
 public:
  std::int64_t decodeInteger(std::string_view key) const;
  bool decodeBool(std::string_view key) const;
  float decodeFloat(std::string_view key) const;
  double decodeDouble(std::string_view key) const;
  JSONValue decodeValue(std::string_view key) const;
  std::optional<UIColor> decodeColor(std::string_view key) const;
  /// nullptr unless the archived object's class is T's (T::ArchivedClassName).
  template <class T>
  std::shared_ptr<T> decodeObjectOf(std::string_view key) const {
    std::shared_ptr<T> result;
    withObject(key, T::ArchivedClassName, sizeof(T), [&](const KeyedUnarchiver& coder) {
      result = std::make_shared<T>();
      result->initWithCoder(coder);
    });
    return result;
  }

  /// The root array, if every element is a T. Returns nullopt if the archive is damaged, or if the root or an element
  /// has another type. Also returns nullopt if the objects would take more than 1 MiB plus 64 times the size of the
  /// archive, which is possible if many references name the same object.
  template <class T>
  static std::optional<std::vector<std::shared_ptr<T>>> unarchiveArrayOf(const Data& data) {
    std::vector<std::shared_ptr<T>> result;
    bool intact = readRootArray(data, T::ArchivedClassName, sizeof(T), [&](const KeyedUnarchiver& coder) {
      auto object = std::make_shared<T>();
      object->initWithCoder(coder);
      result.push_back(std::move(object));
    });
    if (!intact) return std::nullopt;
    return result;
  }

 private:
  class Reader;
  using Visitor = std::function<void(const KeyedUnarchiver&)>;
  KeyedUnarchiver(const Reader& reader, const plist::View::Item& object) : _reader(reader), _object(object) {}
  /// `size` is the size of the object that the visitor creates.
  void withObject(std::string_view key, std::string_view className, std::size_t size, const Visitor& visitor) const;
  static bool readRootArray(const Data& data, std::string_view className, std::size_t size, const Visitor& visitor);

  /// The value of the key, if it has that kind; nullopt otherwise.
  std::optional<plist::View::Item> inlineItem(std::string_view key, plist::View::Kind kind) const;

  const Reader& _reader;
  const plist::View::Item _object;
  /// Keys are mostly read in the order in which they were written, so a search starts after the last match.
  mutable std::size_t _next = 0;
};

}  // namespace oq
