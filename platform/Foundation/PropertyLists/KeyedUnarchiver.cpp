// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>

#include "Foundation/PropertyLists/KeyedArchive.h"
#include "Foundation/PropertyLists/KeyedArchiver.h"

namespace oq {

using plist::Ref;
using plist::View;
using Item = View::Item;
using Kind = View::Kind;

/// An archive that is being read. References let a small file describe an endless or an enormous object. Everything
/// created from the archive therefore uses up a budget; if the budget is exhausted, or the nesting too deep, the whole
/// archive counts as damaged.
class KeyedUnarchiver::Reader {
 public:
  /// Opens the archive; false if the data is not a keyed archive. The data must outlive the reader.
  bool open(const Data& data) {
    _budget = kFixedBudget + kBudgetForEachByte * data.size();
    _view = plist::openSealed(data);
    if (!_view) return false;
    const Item file = _view->item(_view->root());
    if (file.kind != Kind::Dictionary || !isArchive(file)) return false;
    auto objects = entry(file, archive::kAllObjectsKey, Kind::Array);
    auto top = entry(file, archive::kTopKey, Kind::Dictionary);
    if (!objects || objects->value == 0 || !top) return false;
    if (!_view->equals(element(*objects, 0), archive::kNullObject)) return false;
    auto root = entry(*top, archive::kRootKey, Kind::Uid);
    if (!root) return false;
    _objects = *objects;
    _root = root->value;
    return true;
  }

  std::uint64_t root() const { return _root; }
  bool isDamaged() const { return _isDamaged; }
  Item element(const Item& container, std::uint64_t index) const {
    return _view->item(_view->reference(container, index));
  }

  /// The object with the number; nullopt for the null object and for a number that no object has.
  std::optional<Item> object(std::uint64_t uid) const {
    bool exists = uid != archive::kNullUid && uid < _objects.value;
    return exists ? std::optional(element(_objects, uid)) : std::nullopt;
  }

  /// The object, if it is an instance of the class.
  std::optional<Item> instance(std::uint64_t uid, std::string_view className) const {
    auto found = object(uid);
    return found && classNameOf(*found) == className ? found : std::nullopt;
  }

  /// The references of an array object, mutable or not; nullopt for anything else.
  std::optional<Item> arrayObject(std::uint64_t uid) const {
    auto found = object(uid);
    return found && isArrayClass(classNameOf(*found)) ? entry(*found, archive::kObjectsKey, Kind::Array) : std::nullopt;
  }

  std::optional<Item> entry(const Item& dictionary, std::string_view key, Kind kind) const {
    auto index = indexOf(dictionary, key, 0);
    return index ? valueAt(dictionary, *index, kind) : std::nullopt;
  }

  std::optional<Item> valueAt(const Item& dictionary, std::uint64_t index, Kind kind) const {
    Item found = element(dictionary, dictionary.value + index);
    return found.kind == kind ? std::optional(found) : std::nullopt;
  }

  /// The index of the key in the dictionary; the search starts at `start` and wraps around.
  std::optional<std::uint64_t> indexOf(const Item& dictionary, std::string_view key, std::uint64_t start) const {
    std::uint64_t count = dictionary.value;
    for (std::uint64_t i = 0; i < count; ++i) {
      if (!spend(kKeyCost)) break;
      std::uint64_t index = start + i < count ? start + i : start + i - count;
      if (isKey(_view->reference(dictionary, index), key)) return index;
    }
    return std::nullopt;
  }

  JSONValue value(std::uint64_t uid) const { return value(uid, 0); }

  struct KnownColor {
    std::uint64_t uid = archive::kNullUid;
    std::optional<UIColor> color;
  };
  /// The cache slot for a colour: windows use few colours, each many times.
  KnownColor& knownColor(std::uint64_t uid) const { return _knownColors[uid % _knownColors.size()]; }

  /// Calls the visitor, which creates an object of `size` bytes, if budget and nesting allow it.
  void visit(const Item& dictionary, std::size_t size, const Visitor& visitor) const {
    if (_visitDepth == archive::kMaximumDepth) _isDamaged = true;
    if (_isDamaged || !spend(size + kObjectCost)) return;
    ++_visitDepth;
    visitor(KeyedUnarchiver(*this, dictionary));
    --_visitDepth;
  }

 private:
  // Approximate bytes of memory. A key has a cost although it takes no memory, because each look-up may visit all keys.
  // An archive that our archiver wrote always stays within the budget.
  static constexpr std::uint64_t kBudgetForEachByte = 64;
  static constexpr std::uint64_t kFixedBudget = 1u << 20;
  static constexpr std::uint64_t kObjectCost = 32;
  static constexpr std::uint64_t kContainerCost = 64;
  static constexpr std::uint64_t kValueCost = 24;
  static constexpr std::uint64_t kKeyCost = 4;
  static constexpr std::uint64_t kMostBytesOfUnit = 3;  ///< maximum UTF-8 bytes per UTF-16 unit

  static bool isArrayClass(std::string_view name) { return name == "NSArray" || name == "NSMutableArray"; }
  static bool isDictionaryClass(std::string_view name) {
    return name == "NSDictionary" || name == "NSMutableDictionary";
  }

  /// Objects repeat the same keys, so the name of a key node is cached.
  bool isKey(Ref node, std::string_view name) const {
    KnownText& known = _knownKeys[node % _knownKeys.size()];
    if (known.node == node) return known.text == name;
    const Item item = _view->item(node);
    if (item.kind != Kind::ASCII) return _view->equals(item, name);
    known = {node, _view->bytes(item)};
    return known.text == name;
  }

  bool isArchive(const Item& file) const {
    auto archiver = entry(file, archive::kArchiverKey, Kind::ASCII);
    auto version = entry(file, archive::kVersionKey, Kind::Integer);
    return archiver && _view->equals(*archiver, archive::kArchiverName) && version &&
           version->integer() == archive::kVersion;
  }

  /// "" for anything that is not an instance of a class.
  std::string_view classNameOf(const Item& found) const {
    if (found.kind != Kind::Dictionary) return "";
    // Archivers write the class as the last entry, so the search starts there.
    std::uint64_t last = found.value == 0 ? 0 : found.value - 1;
    auto index = indexOf(found, archive::kClassKey, last);
    auto uid = index ? valueAt(found, *index, Kind::Uid) : std::nullopt;
    return uid ? nameOfClass(uid->value) : "";
  }

  std::string_view nameOfClass(std::uint64_t uid) const {
    KnownText& known = _knownClasses[uid % _knownClasses.size()];
    if (known.node == uid) return known.text;
    auto classObject = object(uid);
    if (!classObject || classObject->kind != Kind::Dictionary) return "";
    auto name = entry(*classObject, archive::kClassNameKey, Kind::ASCII);
    known = {uid, name ? _view->bytes(*name) : ""};
    return known.text;
  }

  bool spend(std::uint64_t bytes) const {
    if (bytes > _budget) _isDamaged = true;
    _budget -= std::min(bytes, _budget);
    return !_isDamaged;
  }

  JSONValue value(std::uint64_t uid, std::size_t depth) const {
    auto found = object(uid);
    if (!found) return nullptr;
    switch (found->kind) {
      case Kind::ASCII:
        return spend(found->value) ? JSONValue(_view->bytes(*found)) : nullptr;
      case Kind::UTF16:
        return spend(kMostBytesOfUnit * found->value) ? JSONValue(_view->text(*found)) : nullptr;
      case Kind::Bool:
        return found->value != 0;
      case Kind::Integer:
        return found->integer();
      case Kind::Unsigned:
        return found->value;
      case Kind::Real:
        return found->real();
      case Kind::Dictionary:
        return containerValue(*found, depth);
      default:
        return nullptr;
    }
  }

  JSONValue containerValue(const Item& dictionary, std::size_t depth) const {
    std::string_view className = classNameOf(dictionary);
    bool isArray = isArrayClass(className);
    if (!isArray && !isDictionaryClass(className)) return nullptr;
    auto objects = entry(dictionary, archive::kObjectsKey, Kind::Array);
    auto keys = isArray ? std::nullopt : entry(dictionary, archive::kKeysKey, Kind::Array);
    bool isWhole = objects && (isArray || (keys && keys->value == objects->value));
    if (!isWhole || depth >= archive::kMaximumDepth || !spend(kContainerCost)) {
      _isDamaged = true;
      return nullptr;
    }
    return isArray ? arrayValue(*objects, depth) : dictionaryValue(*keys, *objects, depth);
  }

  JSONValue arrayValue(const Item& objects, std::size_t depth) const {
    JSONArray array;
    for (std::uint64_t i = 0; i < objects.value && !_isDamaged; ++i) {
      array.push_back(referredValue(element(objects, i), depth));
    }
    return array;
  }

  JSONValue dictionaryValue(const Item& keys, const Item& objects, std::size_t depth) const {
    JSONDictionary result;
    for (std::uint64_t i = 0; i < keys.value && !_isDamaged; ++i) {
      JSONValue key = referredValue(element(keys, i), depth);
      if (!key.is_string()) {
        _isDamaged = true;
        break;
      }
      result.insert_or_assign(key.get_string(), referredValue(element(objects, i), depth));
    }
    return result;
  }

  JSONValue referredValue(const Item& reference, std::size_t depth) const {
    // A null has a cost, too. Otherwise an array of a million nulls would cost nothing, however often it is referenced.
    if (reference.kind != Kind::Uid || !spend(kValueCost)) {
      _isDamaged = true;
      return nullptr;
    }
    return value(reference.value, depth + 1);
  }

  struct KnownText {
    std::uint64_t node = ~std::uint64_t{0};
    std::string_view text;
  };

  std::optional<View> _view;
  mutable std::array<KnownColor, 16> _knownColors;
  mutable std::array<KnownText, 256> _knownKeys;
  mutable std::array<KnownText, 16> _knownClasses;  ///< `node` is an object number here
  Item _objects;
  std::uint64_t _root = 0;
  mutable std::uint64_t _budget = 0;
  mutable std::size_t _visitDepth = 0;
  mutable bool _isDamaged = false;
};

std::optional<Item> KeyedUnarchiver::inlineItem(std::string_view key, Kind kind) const {
  auto index = _reader.indexOf(_object, key, _next);
  if (!index) return std::nullopt;
  _next = static_cast<std::size_t>(*index) + 1;
  return _reader.valueAt(_object, *index, kind);
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) const {
  auto integer = inlineItem(key, Kind::Integer);
  return integer ? integer->integer() : 0;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) const {
  auto boolean = inlineItem(key, Kind::Bool);
  return boolean && boolean->value != 0;
}

double KeyedUnarchiver::decodeDouble(std::string_view key) const {
  auto real = inlineItem(key, Kind::Real);
  return real ? real->real() : 0;
}

float KeyedUnarchiver::decodeFloat(std::string_view key) const {
  return static_cast<float>(decodeDouble(key));
}

JSONValue KeyedUnarchiver::decodeValue(std::string_view key) const {
  auto uid = inlineItem(key, Kind::Uid);
  return uid ? _reader.value(uid->value) : nullptr;
}

std::optional<UIColor> KeyedUnarchiver::decodeColor(std::string_view key) const {
  auto uid = inlineItem(key, Kind::Uid);
  if (!uid || uid->value == archive::kNullUid) return std::nullopt;
  Reader::KnownColor& known = _reader.knownColor(uid->value);
  if (known.uid == uid->value) return known.color;
  known = {uid->value, std::nullopt};
  auto object = _reader.instance(uid->value, "UIColor");
  if (!object) return std::nullopt;
  _reader.visit(*object, 0, [&](const KeyedUnarchiver& coder) {
    std::array<double, 4> components{};
    for (std::size_t i = 0; i < components.size(); ++i) {
      auto real = coder.inlineItem(archive::kColorKeys[i], Kind::Real);
      if (!real || !std::isfinite(real->real())) return;
      components[i] = std::clamp(real->real(), 0.0, 1.0);
    }
    known.color = UIColor::colorWithRed(components[0], components[1], components[2], components[3]);
  });
  return known.color;
}

void KeyedUnarchiver::withObject(std::string_view key, std::string_view className, std::size_t size,
                                 const Visitor& visitor) const {
  auto uid = inlineItem(key, Kind::Uid);
  auto object = uid ? _reader.instance(uid->value, className) : std::nullopt;
  if (object) _reader.visit(*object, size, visitor);
}

bool KeyedUnarchiver::readRootArray(const Data& data, std::string_view className, std::size_t size,
                                    const Visitor& visitor) {
  Reader reader;
  if (!reader.open(data)) return false;
  auto elements = reader.arrayObject(reader.root());
  if (!elements) return false;
  for (std::uint64_t i = 0; i < elements->value; ++i) {
    Item uid = reader.element(*elements, i);
    auto object = uid.kind == Kind::Uid ? reader.instance(uid.value, className) : std::nullopt;
    if (!object) return false;
    reader.visit(*object, size, visitor);
    if (reader.isDamaged()) return false;
  }
  return true;
}

}  // namespace oq
