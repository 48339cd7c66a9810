#pragma once

#include <memory>
#include <optional>
#include <string>

#include "Hooks/OQSwizzle.h"

namespace oq {

/// Lets blocks run after methods of other code. Four selectors can be hooked:
///
///     "saveUploadInfo:event:handler:"                          OQUploadHookBlock
///     "viewDidAppear:", "viewWillDisappear:"                   OQAppearanceHookBlock
///     "mailComposeController:didFinishWithResult:error:"       OQMailHookBlock
///
/// Each has one record for the whole process, whatever classes it was hooked on. Methods once hooked stay
/// hooked.
///
/// Threads: any thread may install, remove and call, also at the same time; blocks run on the caller's
/// thread, and may themselves install, remove and call. Failure: logged as "SwizzleException:..." or silent;
/// nothing is thrown.
class OQSwizzler {
 public:
  /// Whether the method is one of the class's own.
  static bool isLocallyDefinedMethod(const Method* method, const Class* cls);
  /// Hooks the method, or adds the block when it is hooked already. A block replaces the earlier one of its
  /// name. Does nothing without any of its arguments, for another selector, for a block of another kind than
  /// the selector's and for a method of another signature.
  static void swizzleSelector(SEL selector, Class* cls, OQSwizzleBlock block, const std::optional<std::string>& name);
  /// Removes the block of that name. The class takes no part, and the method stays hooked.
  static void unswizzleSelector(SEL selector, Class* cls, const std::optional<std::string>& name);
  /// The record of the selector; nullptr before it is hooked.
  static std::shared_ptr<OQSwizzle> swizzleForSelector(SEL selector);
};

}  // namespace oq
