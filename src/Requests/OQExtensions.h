// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "Foundation/Values/JSONValue.h"

namespace oq {

/// The extensions of the protocol that a server offered in the response to a login. Nothing of an extension is used
/// without an offer in the same run: other servers may not accept it.
struct OQExtensions {
  /// The names of all extensions that this client knows. List requests contain them if the server has made an offer.
  static JSONArray names() { return {"tester", "reports"}; }
  /// nullopt if the response contains no offer. Unknown names are ignored. `environment` is the one whose server
  /// answered.
  static std::optional<OQExtensions> offeredIn(const JSONValue& loginAnswer, std::uint64_t environment);

  bool tester = false;   ///< the server names users (testers) whose clients fetch lists more often
  bool reports = false;  ///< reports have an id and are sent until they are acknowledged
  std::uint64_t environment = 0;
};

}  // namespace oq
