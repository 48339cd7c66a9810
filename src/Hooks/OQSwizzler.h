// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Hooks/OQSwizzle.h"
#include "oqsdk/Runtime.h"

namespace oq {

/// Runs blocks after methods of other code. Four selectors can be hooked:
///
///     "saveUploadInfo:event:handler:"                          OQUploadHookBlock
///     "viewDidAppear:", "viewWillDisappear:"                   OQAppearanceHookBlock
///     "mailComposeController:didFinishWithResult:error:"       OQMailHookBlock
///
/// Each selector has one record for the whole process, whatever classes it was hooked on. A hooked method stays hooked.
///
/// Threads: any thread may add and remove blocks and call hooked methods, also at the same time. Blocks run on the
/// thread that calls the method, and may do the same. Failures are logged as "SwizzleException:..." or silent; no
/// function of this class throws.
class OQSwizzler {
 public:
  /// Whether the class itself defines the method.
  static bool isLocallyDefinedMethod(const Method* method, const Class* cls);
  /// Hooks the method; if the method is hooked already, adds the block. A block replaces an earlier one of the same
  /// name. Has no effect if an argument is missing, the selector cannot be hooked, the block is of the wrong kind, or
  /// the method has another signature.
  static void swizzleSelector(SEL selector, Class* cls, OQSwizzleBlock block, const std::optional<std::string>& name);
  /// Removes the block of that name. The class is ignored, and the method stays hooked.
  static void unswizzleSelector(SEL selector, Class* cls, const std::optional<std::string>& name);
  /// The record of the selector; nullptr before it is hooked.
  static std::shared_ptr<OQSwizzle> swizzleForSelector(SEL selector);
};

/// Exchanges the class's implementations of two selectors; has no effect if the class has no method for `replacedSel`.
/// If the original is inherited, the class gets the replacement as a new method, and the exchange changes the
/// superclass's method; this is intentional. Thread-safe.
void oq_exchangeOriginalSel(Class* cls, SEL originalSel, SEL replacedSel);

}  // namespace oq
