// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iomanip>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "Foundation/PropertyLists/BinaryPropertyList.h"
#include "Foundation/Values/Data.h"
#include "support/Python.h"

/// Property lists as Python writes and reads them.
namespace oq::test {

inline plist::Table listOf(const std::vector<plist::Node>& nodes) {
  plist::Table table;
  plist::ArrayNode array;
  for (const plist::Node& node : nodes) array.items.push_back(table.add(node));
  table.root = table.add(array);
  return table;
}

/// The node in the syntax of Python.
inline std::string textOf(const plist::Table& table, plist::Ref ref) {
  using namespace plist;
  const Node& node = table.nodes[ref];
  std::string text;
  if (auto* list = std::get_if<ArrayNode>(&node)) {
    for (Ref item : list->items) text += (text.empty() ? "" : ", ") + textOf(table, item);
    return "[" + text + "]";
  }
  if (auto* dict = std::get_if<DictNode>(&node)) {
    for (std::size_t i = 0; i < dict->keys.size(); ++i)
      text += (i ? ", " : "") + textOf(table, dict->keys[i]) + ": " + textOf(table, dict->values.at(i));
    return "{" + text + "}";
  }
  if (auto* flag = std::get_if<bool>(&node)) return *flag ? "True" : "False";
  if (auto* number = std::get_if<std::int64_t>(&node)) return std::to_string(*number);
  if (auto* number = std::get_if<std::uint64_t>(&node)) return std::to_string(*number) + "u";
  auto exact = [](double value) {
    std::ostringstream stream;
    stream << std::setprecision(17) << value;
    return stream.str();
  };
  if (auto* real = std::get_if<RealNode>(&node)) return "real " + exact(real->value);
  if (auto* data = std::get_if<Data>(&node)) return "b'" + stringFromData(*data) + "'";
  if (auto* string = std::get_if<std::string>(&node)) return "'" + *string + "'";
  if (auto* uid = std::get_if<Uid>(&node)) return "UID " + std::to_string(uid->value);
  return "date " + exact(secondsSince1970(std::get<Date>(node)));
}
inline std::string textOf(const std::optional<plist::Table>& table) {
  return table ? textOf(*table, table->root) : "unreadable";
}

/// The bytes that Python writes for the expression.
inline Data plistFromPython(const std::string& expression, const std::string& format = "BINARY") {
  ScratchFolder folder;
  const std::string errors = python(
      "open(path, 'wb').write(plistlib.dumps(" + expression + ", fmt=plistlib.FMT_" + format + ", sort_keys=False))\n",
      folder / "made");
  return dataFromString(errors + textOfFile(folder / "made"));
}

}  // namespace oq::test
