#pragma once

#include "Foundation/Values/Data.h"

namespace oq::gallery {

/// Pictures such as a campaign may have, as PNG files. Sizes in pixels.
Data poster(int width, int height);
Data stillLife(int width, int height);

}  // namespace oq::gallery
