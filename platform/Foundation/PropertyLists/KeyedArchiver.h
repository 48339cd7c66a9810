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

/// What can be kept in a keyed archive. An object is written once, however often it is referred to.
class SecureCoding {
 public:
  virtual ~SecureCoding() = default;
  /// The name under which the class is archived, and by which a reader knows it.
  virtual std::string archivedClassName() const = 0;
  /// The names of the archived class's superclasses, nearest first, "NSObject" last.
  virtual std::vector<std::string> archivedSuperclassNames() const { return {"NSObject"}; }
  virtual void encodeWithCoder(KeyedArchiver& coder) const = 0;
};

/// Writes objects in the standard keyed-archive layout ("$archiver", "$objects", "$top", class names), sealed
/// with a checksum. One archiver makes one archive.
class KeyedArchiver {
 public:
  /// An array of objects as the root.
  static Data archivedDataWithRootObjects(const std::vector<std::shared_ptr<const SecureCoding>>& objects);

  void encodeInteger(std::int64_t value, std::string_view key);
  void encodeBool(bool value, std::string_view key);
  void encodeFloat(float value, std::string_view key);
  void encodeDouble(double value, std::string_view key);
  /// A value as it is; null writes the archive's null object.
  void encodeObject(const JSONValue& value, std::string_view key);
  void encodeObject(const std::shared_ptr<const SecureCoding>& object, std::string_view key);
  void encodeObject(const std::optional<UIColor>& colour, std::string_view key);

 private:
  class Writer;
  explicit KeyedArchiver(Writer& writer) : _writer(writer) {}
  Writer& _writer;
};

/// Reads one object of an archive; handed to its constructor function. A key that is absent or of another
/// type reads as 0, NO or nil.
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

  /// The root array, when every element is a T. nullopt for a damaged archive, another root or another class
  /// in it: a foreign archive reads as absent. So does one that would make more than 64 times its size of
  /// objects (and 1 MiB), as references that name the same over and over can.
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
  /// `size` is that of the object which the visitor makes.
  void withObject(std::string_view key, std::string_view className, std::size_t size, const Visitor& visitor) const;
  static bool readRootArray(const Data& data, std::string_view className, std::size_t size, const Visitor& visitor);

  /// What stands under the key, when it is of that kind.
  std::optional<plist::View::Item> inlineItem(std::string_view key, plist::View::Kind kind) const;

  const Reader& _reader;
  const plist::View::Item _object;
  /// Keys are mostly asked for in the order in which they were written, so a search begins after the last
  /// find.
  mutable std::size_t _next = 0;
};

}  // namespace oq
