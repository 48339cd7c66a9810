#include <algorithm>
#include <cmath>

#include "Foundation/KeyedArchive.h"
#include "Foundation/KeyedArchiver.h"

namespace oq {

using plist::ArrayNode;
using plist::DictNode;
using plist::Node;
using plist::Ref;
using plist::Uid;

/// An archive that is being read. References make a small file describe an endless or an enormous object, so
/// what is made of them is paid from a budget; when that is spent, or the nesting too deep, the whole archive
/// counts as damaged.
class KeyedUnarchiver::Reader {
 public:
  /// The archive's objects; false when this is no keyed archive.
  bool open(const Data& data) {
    _budget = FixedBudget + BudgetForEachByte * data.size();
    auto table = plist::readSealed(data);
    if (!table) return false;
    _table = *std::move(table);
    auto* file = std::get_if<DictNode>(&node(_table.root));
    if (!file || !isArchive(*file)) return false;
    auto* objects = entry<ArrayNode>(*file, archive::AllObjectsKey);
    auto* top = entry<DictNode>(*file, archive::TopKey);
    if (!objects || objects->items.empty() || !top) return false;
    auto* null = std::get_if<std::string>(&node(objects->items.front()));
    if (!null || *null != archive::NullObject) return false;
    _objects = objects;
    _root = entry<Uid>(*top, archive::RootKey);
    return _root != nullptr;
  }

  const Uid& root() const { return *_root; }
  bool isDamaged() const { return _isDamaged; }
  const Node& node(Ref ref) const { return _table.nodes[ref]; }

  /// nullptr for the null object and for a number that no object has.
  const Node* object(const Uid& uid) const {
    bool exists = uid.value != archive::NullUid && uid.value < _objects->items.size();
    return exists ? &node(_objects->items[uid.value]) : nullptr;
  }

  /// The object when it is an instance of the class.
  const DictNode* instance(const Uid& uid, std::string_view className) const {
    const Node* found = object(uid);
    auto* dictionary = found ? std::get_if<DictNode>(found) : nullptr;
    return dictionary && classNameOf(*dictionary) == className ? dictionary : nullptr;
  }

  /// The references of an array object, mutable or not; nullptr for anything else.
  const ArrayNode* arrayObject(const Uid& uid) const {
    const Node* found = object(uid);
    auto* dictionary = found ? std::get_if<DictNode>(found) : nullptr;
    return dictionary && isArrayClass(classNameOf(*dictionary))
               ? entry<ArrayNode>(*dictionary, archive::ObjectsKey)
               : nullptr;
  }

  template <class T>
  const T* entry(const DictNode& dictionary, std::string_view key) const {
    auto index = indexOf(dictionary, key, 0);
    return index ? std::get_if<T>(&node(dictionary.values[*index])) : nullptr;
  }

  /// Where the dictionary has the key; the search begins at `start` and goes once around.
  std::optional<std::size_t> indexOf(const DictNode& dictionary, std::string_view key,
                                     std::size_t start) const {
    std::size_t count = dictionary.keys.size();
    for (std::size_t i = 0; i < count; ++i) {
      if (!spend(KeyCost)) break;
      std::size_t index = start + i < count ? start + i : start + i - count;
      auto* name = std::get_if<std::string>(&node(dictionary.keys[index]));
      if (name && *name == key) return index;
    }
    return std::nullopt;
  }

  Value value(const Uid& uid) const { return value(uid, 0); }

  /// Calls the visitor, who makes an object of `size` bytes, when the budget and the stack allow it.
  void visit(const DictNode& dictionary, std::size_t size, const Visitor& visitor) const {
    if (_visitDepth == archive::MaximumDepth) _isDamaged = true;
    if (_isDamaged || !spend(size + ObjectCost)) return;
    ++_visitDepth;
    visitor(KeyedUnarchiver(*this, dictionary));
    --_visitDepth;
  }

 private:
  // In bytes of memory, roughly. Keys cost something though they take none, since every look-up may walk over
  // all of them. Whatever the archiver writes costs less than is allowed.
  static constexpr std::uint64_t BudgetForEachByte = 64;
  static constexpr std::uint64_t FixedBudget = 1u << 20;
  static constexpr std::uint64_t ObjectCost = 32;
  static constexpr std::uint64_t ContainerCost = 64;
  static constexpr std::uint64_t ValueCost = 24;
  static constexpr std::uint64_t KeyCost = 4;

  static bool isArrayClass(std::string_view name) { return name == "NSArray" || name == "NSMutableArray"; }
  static bool isDictionaryClass(std::string_view name) {
    return name == "NSDictionary" || name == "NSMutableDictionary";
  }

  bool isArchive(const DictNode& file) const {
    auto* archiver = entry<std::string>(file, archive::ArchiverKey);
    auto* version = entry<std::int64_t>(file, archive::VersionKey);
    return archiver && *archiver == archive::ArchiverName && version && *version == archive::Version;
  }

  std::string_view classNameOf(const DictNode& dictionary) const {
    // Archivers write the class last.
    std::size_t last = dictionary.keys.empty() ? 0 : dictionary.keys.size() - 1;
    auto index = indexOf(dictionary, archive::ClassKey, last);
    auto* uid = index ? std::get_if<Uid>(&node(dictionary.values[*index])) : nullptr;
    const Node* found = uid ? object(*uid) : nullptr;
    auto* classObject = found ? std::get_if<DictNode>(found) : nullptr;
    auto* name = classObject ? entry<std::string>(*classObject, archive::ClassNameKey) : nullptr;
    return name ? std::string_view(*name) : std::string_view();
  }

  bool spend(std::uint64_t bytes) const {
    if (bytes > _budget) _isDamaged = true;
    _budget -= std::min(bytes, _budget);
    return !_isDamaged;
  }

  Value value(const Uid& uid, std::size_t depth) const {
    const Node* found = object(uid);
    if (!found) return nullptr;
    auto* text = std::get_if<std::string>(found);
    if (!spend(text ? text->size() : 0)) return nullptr;
    if (text) return Value(*text);
    if (auto* boolean = std::get_if<bool>(found)) return *boolean;
    if (auto* integer = std::get_if<std::int64_t>(found)) return *integer;
    if (auto* integer = std::get_if<std::uint64_t>(found)) return *integer;
    if (auto* real = std::get_if<plist::RealNode>(found)) return real->value;
    auto* dictionary = std::get_if<DictNode>(found);
    return dictionary ? containerValue(*dictionary, depth) : nullptr;
  }

  Value containerValue(const DictNode& dictionary, std::size_t depth) const {
    std::string_view className = classNameOf(dictionary);
    bool isArray = isArrayClass(className);
    if (!isArray && !isDictionaryClass(className)) return nullptr;
    auto* objects = entry<ArrayNode>(dictionary, archive::ObjectsKey);
    auto* keys = isArray ? nullptr : entry<ArrayNode>(dictionary, archive::KeysKey);
    bool isWhole = objects && (isArray || (keys && keys->items.size() == objects->items.size()));
    if (!isWhole || depth >= archive::MaximumDepth || !spend(ContainerCost)) {
      _isDamaged = true;
      return nullptr;
    }
    return isArray ? arrayValue(*objects, depth) : dictionaryValue(*keys, *objects, depth);
  }

  Value arrayValue(const ArrayNode& objects, std::size_t depth) const {
    Array array;
    for (Ref ref : objects.items) {
      if (_isDamaged) break;
      array.push_back(referredValue(ref, depth));
    }
    return array;
  }

  Value dictionaryValue(const ArrayNode& keys, const ArrayNode& objects, std::size_t depth) const {
    Dictionary result;
    for (std::size_t i = 0; i < keys.items.size() && !_isDamaged; ++i) {
      Value key = referredValue(keys.items[i], depth);
      if (!key.is_string()) {
        _isDamaged = true;
        break;
      }
      result.insert_or_assign(key.get_string(), referredValue(objects.items[i], depth));
    }
    return result;
  }

  Value referredValue(Ref ref, std::size_t depth) const {
    // A null costs too, or an array of a million of them would be free as often as it is named.
    auto* uid = std::get_if<Uid>(&node(ref));
    if (!uid || !spend(ValueCost)) {
      _isDamaged = true;
      return nullptr;
    }
    return value(*uid, depth + 1);
  }

  plist::Table _table;
  const ArrayNode* _objects = nullptr;
  const Uid* _root = nullptr;
  mutable std::uint64_t _budget = 0;
  mutable std::size_t _visitDepth = 0;
  mutable bool _isDamaged = false;
};

const Node* KeyedUnarchiver::inlineNode(std::string_view key) const {
  auto index = _reader.indexOf(_object, key, _next);
  if (!index) return nullptr;
  _next = *index + 1;
  return &_reader.node(_object.values[*index]);
}

std::int64_t KeyedUnarchiver::decodeInteger(std::string_view key) const {
  const Node* node = inlineNode(key);
  auto* integer = node ? std::get_if<std::int64_t>(node) : nullptr;
  return integer ? *integer : 0;
}

bool KeyedUnarchiver::decodeBool(std::string_view key) const {
  const Node* node = inlineNode(key);
  auto* boolean = node ? std::get_if<bool>(node) : nullptr;
  return boolean && *boolean;
}

double KeyedUnarchiver::decodeDouble(std::string_view key) const {
  const Node* node = inlineNode(key);
  auto* real = node ? std::get_if<plist::RealNode>(node) : nullptr;
  return real ? real->value : 0;
}

float KeyedUnarchiver::decodeFloat(std::string_view key) const {
  return static_cast<float>(decodeDouble(key));
}

Value KeyedUnarchiver::decodeValue(std::string_view key) const {
  const Node* node = inlineNode(key);
  auto* uid = node ? std::get_if<Uid>(node) : nullptr;
  return uid ? _reader.value(*uid) : nullptr;
}

std::optional<UIColor> KeyedUnarchiver::decodeColor(std::string_view key) const {
  std::optional<UIColor> colour;
  withObject(key, "UIColor", 0, [&](const KeyedUnarchiver& coder) {
    std::array<double, 4> components{};
    for (std::size_t i = 0; i < components.size(); ++i) {
      const Node* node = coder.inlineNode(archive::ColourKeys[i]);
      auto* real = node ? std::get_if<plist::RealNode>(node) : nullptr;
      if (!real || !std::isfinite(real->value)) return;
      components[i] = std::clamp(real->value, 0.0, 1.0);
    }
    colour = UIColor::colorWithRed(components[0], components[1], components[2], components[3]);
  });
  return colour;
}

void KeyedUnarchiver::withObject(std::string_view key, std::string_view className, std::size_t size,
                                 const Visitor& visitor) const {
  const Node* node = inlineNode(key);
  auto* uid = node ? std::get_if<Uid>(node) : nullptr;
  const DictNode* object = uid ? _reader.instance(*uid, className) : nullptr;
  if (object) _reader.visit(*object, size, visitor);
}

bool KeyedUnarchiver::readRootArray(const Data& data, std::string_view className, std::size_t size,
                                    const Visitor& visitor) {
  Reader reader;
  if (!reader.open(data)) return false;
  const ArrayNode* elements = reader.arrayObject(reader.root());
  if (!elements) return false;
  for (Ref ref : elements->items) {
    auto* uid = std::get_if<Uid>(&reader.node(ref));
    const DictNode* object = uid ? reader.instance(*uid, className) : nullptr;
    if (!object) return false;
    reader.visit(*object, size, visitor);
    if (reader.isDamaged()) return false;
  }
  return true;
}

}  // namespace oq
