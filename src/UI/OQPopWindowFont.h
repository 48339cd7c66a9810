#pragma once

#include "UIKit/Text/UIFont.h"

namespace oq {

/// The one font of all windows, in points.
inline UIFont popWindowFont(double size) {
  return UIFont::fontWithName("PingFangSC-Regular", size);
}

}  // namespace oq
