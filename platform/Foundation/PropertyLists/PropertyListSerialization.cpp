// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/PropertyListSerialization.h"

#include "Foundation/PropertyLists/XMLPropertyList.h"

namespace oq {

using namespace plist;

namespace {

constexpr const char* kTooDeep = "The property list is nested too deeply.";

std::optional<Ref> add(Table& table, const JSONValue& value, std::size_t depth);

std::optional<Ref> add(Table& table, const JSONArray& array, std::size_t depth) {
  ArrayNode node;
  for (const JSONValue& element : array) {
    auto item = add(table, element, depth + 1);
    if (!item) return std::nullopt;
    node.items.push_back(*item);
  }
  return table.add(std::move(node));
}

std::optional<Ref> add(Table& table, const JSONDictionary& dictionary, std::size_t depth) {
  DictNode node;
  for (const auto& entry : dictionary) {
    auto value = add(table, entry.value(), depth + 1);
    if (!value) return std::nullopt;
    node.keys.push_back(table.add(std::string(entry.key())));
    node.values.push_back(*value);
  }
  return table.add(std::move(node));
}

/// nullopt only if the nesting is too deep.
std::optional<Ref> add(Table& table, const JSONValue& value, std::size_t depth) {
  if (depth > kMaximumXMLDepth) return std::nullopt;
  switch (value.kind()) {
    case boost::json::kind::null:
      return table.add(NullNode{});
    case boost::json::kind::bool_:
      return table.add(value.get_bool());
    case boost::json::kind::int64:
      return table.add(value.get_int64());
    case boost::json::kind::uint64:
      return table.add(value.get_uint64());
    case boost::json::kind::double_:
      return table.add(RealNode{value.get_double()});
    case boost::json::kind::string:
      return table.add(std::string(value.get_string()));
    case boost::json::kind::array:
      return add(table, value.get_array(), depth);
    case boost::json::kind::object:
      return add(table, value.get_object(), depth);
  }
  return std::nullopt;
}

std::optional<JSONValue> valueOf(const Table& table, Ref ref);

std::optional<JSONValue> valueOf(const Table& table, const ArrayNode& node) {
  JSONArray array;
  for (Ref item : node.items) {
    auto element = valueOf(table, item);
    if (!element) return std::nullopt;
    array.push_back(std::move(*element));
  }
  return array;
}

std::optional<JSONValue> valueOf(const Table& table, const DictNode& node) {
  JSONDictionary dictionary;
  for (std::size_t i = 0; i < node.keys.size(); ++i) {
    auto value = valueOf(table, node.values[i]);
    if (!value) return std::nullopt;
    dictionary.emplace(std::get<std::string>(table.nodes[node.keys[i]]), std::move(*value));
  }
  return dictionary;
}

/// nullopt for bytes and dates. The reader guarantees a tree of bounded depth.
std::optional<JSONValue> valueOf(const Table& table, Ref ref) {
  const Node& node = table.nodes[ref];
  if (auto* truth = std::get_if<bool>(&node)) return *truth;
  if (auto* number = std::get_if<std::int64_t>(&node)) return *number;
  if (auto* number = std::get_if<std::uint64_t>(&node)) return *number;
  if (auto* real = std::get_if<RealNode>(&node)) return real->value;
  if (auto* text = std::get_if<std::string>(&node)) return JSONValue(*text);
  if (auto* array = std::get_if<ArrayNode>(&node)) return valueOf(table, *array);
  if (auto* dictionary = std::get_if<DictNode>(&node)) return valueOf(table, *dictionary);
  return std::nullopt;
}

void report(Error* error, std::int64_t code, std::string reason) {
  if (error) *error = Error{CocoaErrorDomain, code, std::move(reason)};
}

}  // namespace

std::optional<Data> PropertyListSerialization::dataWithPropertyList(const PropertyValue& list, PropertyListFormat,
                                                                    Error* error) {
  Table table;
  std::string reason = kTooDeep;
  std::optional<Ref> root;
  if (auto* value = std::get_if<JSONValue>(&list)) root = add(table, *value, 0);
  if (auto* data = std::get_if<Data>(&list)) root = table.add(*data);
  if (auto* date = std::get_if<Date>(&list)) root = table.add(*date);
  std::optional<Data> bytes;
  if (root) {
    table.root = *root;
    bytes = writeXML(table, &reason);
  }
  if (!bytes) report(error, PropertyListWriteInvalidError, reason);
  return bytes;
}

PropertyValue PropertyListSerialization::propertyListWithData(const Data& data, PropertyListFormat* format,
                                                              Error* error) {
  std::string reason = "The property list is empty.";
  auto table = readXML(data, &reason);
  if (!table) return report(error, PropertyListReadCorruptError, reason), JSONValue();
  if (format) *format = PropertyListFormat::XML;
  const Node& root = table->nodes[table->root];
  if (auto* bytes = std::get_if<Data>(&root)) return *bytes;
  if (auto* date = std::get_if<Date>(&root)) return *date;
  auto value = valueOf(*table, table->root);
  if (!value)
    return report(error, PropertyListReadCorruptError, "Bytes and dates are supported only as the root."), JSONValue();
  return std::move(*value);
}

}  // namespace oq
