#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"

/// Feeds arbitrary bytes to the road of a server's list answer: JSON, its "data", windows, their archive.
/// What could be read can be written and read again, and every window comes back from its archive as it was.
namespace {

void require(bool holds) {
  if (!holds) std::abort();
}

oq::Data archiveAgain(const oq::Data& archive, std::size_t count) {
  auto windows = oq::KeyedUnarchiver::unarchiveArrayOf<oq::OQWindowData>(archive);
  require(windows && windows->size() == count);
  return oq::KeyedArchiver::archivedDataWithRootObjects({windows->begin(), windows->end()});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  auto answer = oq::valueWithJSONData(oq::Data(bytes, bytes + size));
  if (!answer) return 0;
  // Not compared: the parser rounds long numbers to a neighbour now and then.
  require(oq::valueWithJSONData(oq::dataFromString(oq::compactJSON(*answer))).has_value());

  const oq::JSONValue records = oq::valueForKey(*answer, "data");
  const oq::JSONArray* list = records.if_array();
  if (!list) return 0;
  std::vector<std::shared_ptr<const oq::SecureCoding>> windows;
  for (const oq::JSONValue& record : *list) {
    auto window = std::make_shared<oq::OQWindowData>();
    window->setModelWithDic(record);
    windows.push_back(window);
  }
  // Objects that windows share in memory come back as one for each, so that only the second archive is final.
  const oq::Data first = archiveAgain(oq::KeyedArchiver::archivedDataWithRootObjects(windows), windows.size());
  require(archiveAgain(first, windows.size()) == first);
  return 0;
}
