// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "oqsdk/Runtime.h"

namespace oq {

/// Exchanges the class's implementations of two selectors; has no effect if it lacks the replacement. If the original
/// is inherited, the class gets the replacement as a new method, and the exchange changes the superclass's method; this
/// is intentional. Thread-safe.
void oq_exchangeOriginalSel(Class* cls, SEL originalSel, SEL replacedSel);

}  // namespace oq
