// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>

#include "Foundation/PropertyLists/XMLPropertyList.h"
#include "SameNodes.h"

/// Feeds arbitrary bytes to the reader of XML property lists. Everything that can be read must survive writing and
/// reading again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  auto table = oq::plist::readXML(oq::Data(bytes, bytes + size));
  if (!table) return 0;
  auto written = oq::plist::writeXML(*table);
  if (!written) std::abort();
  auto again = oq::plist::readXML(*written);
  if (!again || !isSameTable(*again, *table, oq::plist::DatesIn::wholeSeconds)) std::abort();
  return 0;
}
