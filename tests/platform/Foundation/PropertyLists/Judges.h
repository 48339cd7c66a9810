// SPDX-License-Identifier: Apache-2.0
#pragma once

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

/// The bytes that Python writes for the expression.
inline Data plistFromPython(const std::string& expression, const std::string& format = "BINARY") {
  ScratchFolder folder;
  const std::string errors = python(
      "open(path, 'wb').write(plistlib.dumps(" + expression + ", fmt=plistlib.FMT_" + format + ", sort_keys=False))\n",
      folder / "made");
  return dataFromString(errors + textOfFile(folder / "made"));
}

/// Returns "True\n" if Python reads the value of the expression from the list, with the same kinds of numbers;
/// otherwise "False\n" or Python's error message.
inline std::string isReadByPython(const std::string& expression, const Data& list) {
  return python("print(repr(plistlib.load(open(path, 'rb'))) == repr(" + expression + "))", list);
}

}  // namespace oq::test
