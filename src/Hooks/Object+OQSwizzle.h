#pragma once

#include "oqsdk/Runtime.h"

namespace oq {

/// Exchanges what the class does for two selectors; nothing when it lacks the replacement. Where the original
/// is inherited, the class gets the replacement as a method of its own and the exchange reaches the
/// superclass's method; meant. Any thread.
void oq_exchangeOriginalSel(Class* cls, SEL originalSel, SEL replacedSel);

}  // namespace oq
