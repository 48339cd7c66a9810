// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Foundation/Values/Data.h"

namespace oq {

/// Whether the data contains every pixel of the JPEG, so it is neither truncated nor has gaps. The check is necessary
/// because the decoder that UIImage uses accepts incomplete data and leaves missing pixels grey. Takes about half as
/// long as decoding. Thread-safe.
bool isWholeJpeg(const Data& data);

}  // namespace oq
