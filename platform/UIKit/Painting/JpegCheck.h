#pragma once

#include "Foundation/Values/Data.h"

namespace oq {

/// Every pixel of the JPEG is there: it neither breaks off nor has lost parts in between. The decoder that makes
/// pictures of JPEGs ignores both and leaves what is missing grey. Takes about half as long as decoding. Any thread.
bool isWholeJpeg(const Data& data);

}  // namespace oq
