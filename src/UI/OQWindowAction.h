// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace oq {

/// What happened to a message window, as reported to the server.
enum OQWindowAction : std::int64_t {
  OQWindowActionShownAsTool = -1,  ///< shown as a tool for developers, which is not reported
  OQWindowActionShown = 1,
  OQWindowActionPicture = 2,
  OQWindowActionClosed = 3,
  OQWindowActionLeftButton = 4,
  OQWindowActionRightButton = 5,
  OQWindowActionMiddleButton = 6,
};

}  // namespace oq
