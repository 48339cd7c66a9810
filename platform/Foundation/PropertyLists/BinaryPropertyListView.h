// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Foundation/PropertyLists/BinaryPropertyList.h"
#include "Foundation/PropertyLists/BinaryPropertyListFormat.h"

namespace oq::plist {

/// Reads a binary property list in place. Opening checks all of it and copies nothing; each value is read from the
/// bytes on request. The data must outlive the view. Nodes are identified by their number, below `count()`.
class View {
 public:
  enum class Kind : std::uint8_t {
    Null,
    Bool,
    Integer,
    Unsigned,
    Real,
    Date,
    Uid,
    Bytes,
    ASCII,
    UTF16,
    Array,
    Dictionary
  };
  /// A node. `value` has the bits of a number, or 0 or 1 for a boolean; for other kinds it is a count of bytes, UTF-16
  /// units, references or pairs of references.
  struct Item {
    Kind kind = Kind::Null;
    std::uint64_t value = 0;
    std::size_t begin = 0;  ///< of the number or of the counted elements
    std::size_t end = 0;

    bool isSingle() const { return end - begin == sizeof(float); }
    std::int64_t integer() const { return static_cast<std::int64_t>(value); }
    double real() const;
  };

  /// Returns nullopt for exactly the data that plist::read() rejects.
  static std::optional<View> open(const Data& data);

  Ref root() const { return static_cast<Ref>(_trailer.root); }
  Ref count() const { return static_cast<Ref>(_trailer.count); }
  Item item(Ref ref) const { return *itemAt(static_cast<std::size_t>(offsetOf(ref))); }

  /// The reference at the index of an array or a dictionary. A dictionary has the references of all keys first, then
  /// those of all values.
  Ref reference(const Item& container, std::uint64_t index) const {
    return static_cast<Ref>(numberAt(*_data, container.begin + index * _trailer.refWidth, _trailer.refWidth));
  }
  /// The bytes of an ASCII string or of a data node.
  std::string_view bytes(const Item& item) const {
    return {reinterpret_cast<const char*>(_data->data()) + item.begin, item.end - item.begin};
  }
  /// A string node as UTF-8.
  std::string text(const Item& item) const;
  bool equals(const Item& item, std::string_view text) const;

 private:
  View(const Data& data, const Trailer& trailer) : _data(&data), _trailer(trailer) {}

  std::uint64_t offsetOf(Ref ref) const {
    return numberAt(*_data, _trailer.tableOffset + std::uint64_t{ref} * _trailer.offsetWidth, _trailer.offsetWidth);
  }
  bool isPlace(std::uint64_t offset) const { return offset >= Header.size() && offset < _trailer.tableOffset; }
  bool check() const;
  bool isSound(const Item& item) const;
  bool isKey(Ref ref) const;

  std::optional<Item> itemAt(std::size_t position) const;
  std::optional<Item> simpleAt(std::size_t position) const;
  std::optional<Item> numberOf(Kind kind, std::size_t begin, unsigned width) const;
  std::optional<Item> longNumberAt(std::size_t begin) const;
  std::optional<Item> countedAt(std::size_t position) const;

  const Data* _data;
  Trailer _trailer;
};

/// Like readSealed(), but copies nothing: the data must outlive the view.
std::optional<View> openSealed(const Data& data);

}  // namespace oq::plist
