// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Foundation/Values/Data.h"

namespace oq::gallery {

/// Sample pictures for campaigns, as PNG data. Sizes in pixels.
Data poster(int width, int height);
Data stillLife(int width, int height);

}  // namespace oq::gallery
