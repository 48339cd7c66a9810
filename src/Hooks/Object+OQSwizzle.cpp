#include "Hooks/Object+OQSwizzle.h"

namespace oq {

void oq_exchangeOriginalSel(Class* cls, SEL originalSel, SEL replacedSel) {
  Method* original = class_getInstanceMethod(cls, originalSel);
  Method* replacement = class_getInstanceMethod(cls, replacedSel);
  if (!replacement) return;
  bool added =
      class_addMethod(cls, originalSel, method_getImplementation(replacement), method_getTypeEncoding(replacement));
  if (added) replacement = class_getInstanceMethod(cls, replacedSel);
  // The handle from before the addition: an inherited original is exchanged in the superclass, which is
  // meant.
  method_exchangeImplementations(original, replacement);
}

}  // namespace oq
