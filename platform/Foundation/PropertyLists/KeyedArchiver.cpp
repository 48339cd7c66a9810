// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/KeyedArchiver.h"

#include <array>
#include <bit>
#include <unordered_map>

#include "Foundation/PropertyLists/KeyedArchive.h"

namespace oq {

using plist::ArrayNode;
using plist::DictNode;
using plist::Ref;
using plist::Uid;

namespace {

/// Finds the node of a string that was added before. The strings stay in the table of nodes; only their hashes are
/// here, in one flat array, because an archive can have hundreds of thousands of them.
class TextIndex {
 public:
  explicit TextIndex(const plist::Table& table) : _table(table), _slots(1024) {}

  struct Slot {
    std::uint32_t hash = 0;
    Ref text = 0;
    std::uint64_t number = 0;
    bool isUsed = false;
  };

  /// The slot of the string. If the string is new, the slot is unused and must be filled with `fill` before the next
  /// search.
  Slot& find(std::string_view text) {
    if (2 * (_count + 1) > _slots.size()) grow();
    auto hash = static_cast<std::uint32_t>(std::hash<std::string_view>()(text));
    for (std::size_t i = hash;; ++i) {
      Slot& slot = _slots[i & (_slots.size() - 1)];
      if (!slot.isUsed) {
        slot.hash = hash;
        return slot;
      }
      if (slot.hash == hash && std::get<std::string>(_table.nodes[slot.text]) == text) return slot;
    }
  }

  void fill(Slot& slot, Ref text, std::uint64_t number) {
    slot.text = text;
    slot.number = number;
    slot.isUsed = true;
    ++_count;
  }

 private:
  void grow() {
    std::vector<Slot> old(2 * _slots.size());
    old.swap(_slots);
    for (const Slot& slot : old) {
      if (!slot.isUsed) continue;
      std::size_t i = slot.hash;
      while (_slots[i & (_slots.size() - 1)].isUsed) ++i;
      _slots[i & (_slots.size() - 1)] = slot;
    }
  }

  const plist::Table& _table;
  std::vector<Slot> _slots;
  std::size_t _count = 0;
};

}  // namespace

/// The archive being written. An object gets its number before its contents are written, so that objects may refer to
/// each other in cycles. Strings, colours, classes, keys, small numbers and references are written once; mayRepeat()
/// makes an exception for strings.
class KeyedArchiver::Writer {
 public:
  Writer() { addObject(_table.add(std::string(archive::kNullObject))); }

  void setInteger(std::int64_t value, std::string_view key) { set(key, integer(value)); }
  void setBool(bool value, std::string_view key) { set(key, boolean(value)); }
  void setReal(double value, bool single, std::string_view key) {
    set(key, _table.add(plist::RealNode{value, single}));
  }
  void setObject(std::uint64_t object, std::string_view key) { set(key, reference(object)); }

  std::uint64_t objectOf(const JSONValue& value) { return objectOf(value, 0); }

  std::uint64_t objectOf(const std::shared_ptr<const SecureCoding>& object) {
    if (!object) return archive::kNullUid;
    auto known = _coded.find(object.get());
    if (known != _coded.end()) return known->second;
    // Kept until the archive is complete: the address of a temporary object must not be reused by another.
    _kept.push_back(object);
    std::uint64_t number = addObject(0);
    _coded.emplace(object.get(), number);

    DictNode outer = std::exchange(_current, {});
    _current.keys.reserve(_usualKeys);
    _current.values.reserve(_usualKeys);
    KeyedArchiver coder(*this);
    object->encodeWithCoder(coder);
    auto superclasses = object->archivedSuperclassNames();
    setObject(classOf(object->archivedClassName(), superclasses), archive::kClassKey);
    _usualKeys = _current.keys.size();
    _objects[number] = _table.add(std::exchange(_current, std::move(outer)));
    return number;
  }

  std::uint64_t objectOf(const UIColor& color) {
    std::array<double, 4> components{color.red, color.green, color.blue, color.alpha};
    auto [known, isNew] = _colors.try_emplace(std::bit_cast<ColorBits>(components), 0);
    if (!isNew) return known->second;
    DictNode node;
    for (std::size_t i = 0; i < components.size(); ++i) {
      node.keys.push_back(key(archive::kColorKeys[i]));
      node.values.push_back(_table.add(plist::RealNode{components[i], false}));
    }
    return known->second = addInstance(std::move(node), classOf("UIColor", {"NSObject"}));
  }

  std::uint64_t arrayOf(std::string_view className, std::vector<std::string> superclasses, ArrayNode references) {
    DictNode node;
    node.keys.push_back(key(archive::kObjectsKey));
    node.values.push_back(_table.add(std::move(references)));
    return addInstance(std::move(node), classOf(className, superclasses));
  }

  Ref reference(std::uint64_t object) {
    if (!_references[object]) _references[object] = _table.add(Uid{object});
    return *_references[object];
  }

  Data archiveWithRoot(std::uint64_t root) {
    DictNode top;
    top.keys.push_back(key(archive::kRootKey));
    top.values.push_back(reference(root));
    DictNode file;
    auto add = [&](std::string_view name, Ref value) {
      file.keys.push_back(key(name));
      file.values.push_back(value);
    };
    add(archive::kVersionKey, integer(archive::kVersion));
    add(archive::kArchiverKey, string(archive::kArchiverName));
    add(archive::kTopKey, _table.add(std::move(top)));
    add(archive::kAllObjectsKey, _table.add(ArrayNode{std::move(_objects)}));
    _table.root = _table.add(std::move(file));
    return plist::writeSealed(std::move(_table));
  }

 private:
  using ColorBits = std::array<std::uint64_t, 4>;
  static constexpr std::int64_t kSharedIntegers = 256;
  static constexpr std::uint64_t kRepeatedForEachByte = 16;

  void set(std::string_view name, Ref value) {
    _current.keys.push_back(key(name));
    _current.values.push_back(value);
  }

  std::uint64_t addObject(Ref node) {
    _objects.push_back(node);
    _references.emplace_back();
    return _objects.size() - 1;
  }

  std::uint64_t addInstance(DictNode node, std::uint64_t classObject) {
    node.keys.push_back(key(archive::kClassKey));
    node.values.push_back(reference(classObject));
    return addObject(_table.add(std::move(node)));
  }

  std::uint64_t classOf(std::string_view name, const std::vector<std::string>& superclasses) {
    if (auto known = _classes.find(name); known != _classes.end()) return known->second;
    ArrayNode names;
    names.items.push_back(string(name));
    for (const auto& superclass : superclasses) names.items.push_back(string(superclass));
    DictNode node;
    node.keys = {key(archive::kClassNameKey), key(archive::kClassesKey)};
    Ref nameRef = names.items.front();
    node.values = {nameRef, _table.add(std::move(names))};
    std::uint64_t number = addObject(_table.add(std::move(node)));
    _classes.emplace(name, number);
    return number;
  }

  std::uint64_t objectOf(const JSONValue& value, std::size_t depth) {
    switch (value.kind()) {
      case boost::json::kind::null:
        return archive::kNullUid;
      case boost::json::kind::bool_:
        return objectOnce(boolean(value.get_bool()));
      case boost::json::kind::int64:
        return objectOnce(integer(value.get_int64()));
      case boost::json::kind::uint64:
        return addObject(_table.add(value.get_uint64()));
      case boost::json::kind::double_:
        return addObject(_table.add(plist::RealNode{value.get_double(), false}));
      case boost::json::kind::string:
        return objectOf(std::string_view(value.get_string()));
      case boost::json::kind::array:
        return depth < archive::kMaximumDepth ? objectOf(value.get_array(), depth) : archive::kNullUid;
      case boost::json::kind::object:
        return depth < archive::kMaximumDepth ? objectOf(value.get_object(), depth) : archive::kNullUid;
    }
    return archive::kNullUid;
  }

  std::uint64_t objectOf(std::string_view text) {
    TextIndex::Slot& slot = _strings.find(text);
    if (slot.isUsed && mayRepeat(text)) return slot.number;
    Ref node = string(text);
    _writtenText += text.size();
    std::uint64_t number = addObject(node);
    if (!slot.isUsed) _strings.fill(slot, node, number);
    return number;
  }

  /// Whether another reference to the string is allowed; if not, the string is written again. A reader copies the whole
  /// string for each reference, and the size of what it reads must stay in proportion to the size of the file.
  bool mayRepeat(std::string_view text) {
    if (_repeatedText + text.size() > kRepeatedForEachByte * (_writtenText + _table.nodes.size())) return false;
    _repeatedText += text.size();
    return true;
  }

  std::uint64_t objectOf(const JSONArray& array, std::size_t depth) {
    ArrayNode references;
    references.items.reserve(array.size());
    for (const JSONValue& element : array) references.items.push_back(reference(objectOf(element, depth + 1)));
    return arrayOf("NSArray", {"NSObject"}, std::move(references));
  }

  std::uint64_t objectOf(const JSONDictionary& dictionary, std::size_t depth) {
    ArrayNode keys, values;
    for (const auto& entry : dictionary) {
      keys.items.push_back(reference(objectOf(std::string_view(entry.key()))));
      values.items.push_back(reference(objectOf(entry.value(), depth + 1)));
    }
    DictNode node;
    node.keys = {key(archive::kKeysKey), key(archive::kObjectsKey)};
    node.values = {_table.add(std::move(keys)), _table.add(std::move(values))};
    return addInstance(std::move(node), classOf("NSDictionary", {"NSObject"}));
  }

  /// The number of the object that consists of the node. The same node always gives the same object.
  std::uint64_t objectOnce(Ref node) {
    auto [known, isNew] = _objectOfNode.try_emplace(node, 0);
    if (isNew) known->second = addObject(node);
    return known->second;
  }

  Ref integer(std::int64_t value) {
    if (value < 0 || value >= kSharedIntegers) return _table.add(value);
    auto& known = _integers[static_cast<std::size_t>(value)];
    if (!known) known = _table.add(value);
    return *known;
  }

  Ref boolean(bool value) {
    auto& known = _booleans[value ? 1 : 0];
    if (!known) known = _table.add(value);
    return *known;
  }

  Ref string(std::string_view text) { return _table.add(std::string(text)); }

  Ref key(std::string_view name) {
    TextIndex::Slot& slot = _keys.find(name);
    if (!slot.isUsed) _keys.fill(slot, string(name), 0);
    return slot.text;
  }

  plist::Table _table;
  std::vector<Ref> _objects;
  std::vector<std::optional<Ref>> _references;
  DictNode _current;
  std::size_t _usualKeys = 0;  ///< the number of keys of the previous object; the next one usually has as many
  std::vector<std::shared_ptr<const SecureCoding>> _kept;
  std::unordered_map<const SecureCoding*, std::uint64_t> _coded;
  std::map<ColorBits, std::uint64_t> _colors;
  TextIndex _strings{_table}, _keys{_table};
  std::uint64_t _writtenText = 0, _repeatedText = 0;  ///< bytes
  std::map<std::string, std::uint64_t, std::less<>> _classes;
  std::array<std::optional<Ref>, kSharedIntegers> _integers;
  std::unordered_map<Ref, std::uint64_t> _objectOfNode;
  std::optional<Ref> _booleans[2];
};

Data KeyedArchiver::archivedDataWithRootObjects(const std::vector<std::shared_ptr<const SecureCoding>>& objects) {
  Writer writer;
  ArrayNode references;
  references.items.reserve(objects.size());
  for (const auto& object : objects) references.items.push_back(writer.reference(writer.objectOf(object)));
  return writer.archiveWithRoot(writer.arrayOf("NSMutableArray", {"NSArray", "NSObject"}, std::move(references)));
}

void KeyedArchiver::encodeInteger(std::int64_t value, std::string_view key) {
  _writer.setInteger(value, key);
}
void KeyedArchiver::encodeBool(bool value, std::string_view key) {
  _writer.setBool(value, key);
}
void KeyedArchiver::encodeFloat(float value, std::string_view key) {
  _writer.setReal(value, true, key);
}
void KeyedArchiver::encodeDouble(double value, std::string_view key) {
  _writer.setReal(value, false, key);
}

void KeyedArchiver::encodeObject(const JSONValue& value, std::string_view key) {
  _writer.setObject(_writer.objectOf(value), key);
}

void KeyedArchiver::encodeObject(const std::shared_ptr<const SecureCoding>& object, std::string_view key) {
  _writer.setObject(_writer.objectOf(object), key);
}

void KeyedArchiver::encodeObject(const std::optional<UIColor>& color, std::string_view key) {
  _writer.setObject(color ? _writer.objectOf(*color) : archive::kNullUid, key);
}

}  // namespace oq
