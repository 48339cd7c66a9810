// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Foundation/Networking/URLSession.h"

namespace oq {

/// Both call the completion on the background queue of all URL sessions. An empty completion is allowed.
void succeed(URLCompletion completion, Data data, URLResponse response);
void fail(URLCompletion completion, URLErrorCode code, std::string description);

}  // namespace oq
