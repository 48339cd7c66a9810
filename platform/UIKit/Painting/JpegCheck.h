// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Foundation/Values/Data.h"

namespace oq {

/// Whether every pixel of the JPEG is present: the data is neither truncated nor has gaps. The decoder for pictures
/// ignores both and leaves missing pixels grey. Takes about half as long as decoding. Thread-safe.
bool isWholeJpeg(const Data& data);

}  // namespace oq
