// SPDX-License-Identifier: Apache-2.0
#include "Hooks/Object+OQSwizzle.h"

namespace oq {

void oq_exchangeOriginalSel(Class* cls, SEL originalSel, SEL replacedSel) {
  Method* original = class_getInstanceMethod(cls, originalSel);
  Method* replacement = class_getInstanceMethod(cls, replacedSel);
  if (!replacement) return;
  bool added =
      class_addMethod(cls, originalSel, method_getImplementation(replacement), method_getTypeEncoding(replacement));
  if (added) replacement = class_getInstanceMethod(cls, replacedSel);
  // Uses the method found before the addition: an inherited original is exchanged in the superclass. This is
  // intentional.
  method_exchangeImplementations(original, replacement);
}

}  // namespace oq
