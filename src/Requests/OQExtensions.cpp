// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQExtensions.h"

#include <algorithm>

#include "Foundation/Values/Number.h"

namespace oq {

std::optional<OQExtensions> OQExtensions::offeredIn(const JSONValue& loginAnswer, std::uint64_t environment) {
  const JSONArray* names = valueForKey(loginAnswer, "extensions").if_array();
  if (!names) return std::nullopt;
  const auto offers = [&](const char* name) {
    return std::find(names->begin(), names->end(), JSONValue(name)) != names->end();
  };
  return OQExtensions{offers("tester"), offers("reports"), environment};
}

}  // namespace oq
