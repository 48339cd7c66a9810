// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <memory>
#include <optional>
#include <vector>

#include "Foundation/PropertyLists/BinaryPropertyList.h"
#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "SameNodes.h"

/// Feeds arbitrary bytes to the reader of property lists, and, with a correct checksum added, to the unarchiver.
/// Everything that can be read must survive writing and reading again.
namespace {

struct Record : oq::SecureCoding {
  static constexpr const char* ArchivedClassName = "OQWindowData";
  oq::JSONValue text, content;
  std::shared_ptr<Record> child;

  std::string archivedClassName() const override { return ArchivedClassName; }
  void encodeWithCoder(oq::KeyedArchiver& coder) const override {
    coder.encodeObject(text, "text");
    coder.encodeObject(content, "content");
    coder.encodeObject(std::shared_ptr<const oq::SecureCoding>(child), "child");
  }
  void initWithCoder(const oq::KeyedUnarchiver& coder) {
    text = coder.decodeValue("text");
    content = coder.decodeValue("content");
    (void)coder.decodeColor("color");
    (void)coder.decodeInteger("count");
    (void)coder.decodeFloat("size");
    child = coder.decodeObjectOf<Record>("child");
  }
};

void require(bool holds) {
  if (!holds) std::abort();
}

/// Adding the checksum must add one entry to the root and change nothing else.
void requireSealed(const std::optional<oq::plist::Table>& sealed, const oq::plist::Table& table) {
  require(sealed && sealed->root == table.root && sealed->nodes.size() == table.nodes.size() + 2);
  for (std::size_t i = 0; i < table.nodes.size(); ++i) {
    require(i == table.root || isSameNode(sealed->nodes[i], table.nodes[i], oq::plist::DatesIn::doubles));
  }
}

oq::Data archiveOf(const std::vector<std::shared_ptr<Record>>& records) {
  return oq::KeyedArchiver::archivedDataWithRootObjects({records.begin(), records.end()});
}

oq::Data archiveAgain(const oq::Data& archive, std::size_t count) {
  auto records = oq::KeyedUnarchiver::unarchiveArrayOf<Record>(archive);
  require(records && records->size() == count);
  return archiveOf(*records);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  oq::Data data(bytes, bytes + size);
  (void)oq::KeyedUnarchiver::unarchiveArrayOf<Record>(data);
  auto table = oq::plist::read(data);
  if (!table) return 0;

  auto again = oq::plist::read(oq::plist::write(*table));
  require(again && isSameTable(*again, *table, oq::plist::DatesIn::doubles));

  oq::Data sealed = oq::plist::writeSealed(*table);
  if (sealed.empty()) return 0;
  requireSealed(oq::plist::readSealed(sealed), *table);
  auto records = oq::KeyedUnarchiver::unarchiveArrayOf<Record>(sealed);
  if (!records) return 0;

  // Records that share an object in memory get separate copies when they are restored, so only the second archive is
  // stable.
  const oq::Data first = archiveAgain(archiveOf(*records), records->size());
  require(archiveAgain(first, records->size()) == first);
  return 0;
}
