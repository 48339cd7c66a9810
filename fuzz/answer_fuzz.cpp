// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Model/OQWindowData.h"

/// Passes arbitrary bytes through the stages of a list response: JSON, its "data", windows, their archive. Parsed JSON
/// must survive writing and parsing again. An archive of restored windows must stay the same when it is restored and
/// archived again.
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
  // The values are not compared, since the parser may round long numbers differently.
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
  // Windows that share an object in memory get separate copies when they are restored, so only the second archive is
  // stable.
  const oq::Data first = archiveAgain(oq::KeyedArchiver::archivedDataWithRootObjects(windows), windows.size());
  require(archiveAgain(first, windows.size()) == first);
  return 0;
}
