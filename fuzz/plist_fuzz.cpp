#include <cstdlib>
#include <memory>
#include <vector>

#include "Foundation/BinaryPropertyList.h"
#include "Foundation/KeyedArchiver.h"

/// Feeds arbitrary bytes to the reader of property lists and, sealed with a right checksum so that they get
/// past it, to the unarchiver. What could be read must survive being written and read again.
namespace {

struct Record : oq::SecureCoding {
  static constexpr const char* ArchivedClassName = "OQWindowData";
  oq::Value text, content;
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  oq::Data data(bytes, bytes + size);
  (void)oq::KeyedUnarchiver::unarchiveArrayOf<Record>(data);
  auto table = oq::plist::read(data);
  if (!table) return 0;

  auto again = oq::plist::read(oq::plist::write(*table));
  require(again && again->nodes.size() == table->nodes.size() && again->root == table->root);

  oq::Data sealed = oq::plist::writeSealed(*std::move(table));
  if (sealed.empty()) return 0;
  require(oq::plist::readSealed(sealed).has_value());
  auto records = oq::KeyedUnarchiver::unarchiveArrayOf<Record>(sealed);
  if (!records) return 0;

  std::vector<std::shared_ptr<const oq::SecureCoding>> objects(records->begin(), records->end());
  auto copy =
      oq::KeyedUnarchiver::unarchiveArrayOf<Record>(oq::KeyedArchiver::archivedDataWithRootObjects(objects));
  require(copy && copy->size() == records->size());
  return 0;
}
