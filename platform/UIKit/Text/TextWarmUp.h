// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Export.h"

namespace oq {

/// Loads fonts and shapes a first string on a background thread, once per process, so that the first window need not
/// wait for this. Call it on the main thread, which at process exit waits for the work if it has begun.
OQSDK_EXPORT void warmUpText();

}  // namespace oq
