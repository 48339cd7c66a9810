#pragma once

#include "oqsdk/Export.h"

namespace oq {

/// Loads fonts and shapes a first text on a background thread, once in the process, so that the first window does not
/// wait for it. To be called on the main thread, whose end waits for what has begun.
OQSDK_EXPORT void warmUpText();

}  // namespace oq
