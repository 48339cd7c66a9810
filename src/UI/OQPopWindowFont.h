// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "UIKit/Text/UIFont.h"

namespace oq {

/// The font of all message windows; size in points.
inline UIFont popWindowFont(double size) {
  return UIFont::fontWithName("PingFangSC-Regular", size);
}

}  // namespace oq
