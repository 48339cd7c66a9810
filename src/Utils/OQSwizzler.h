#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "Foundation/Error.h"
#include "Foundation/Snapshot.h"
#include "oqsdk/AnalyticsHook.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/Value.h"

namespace oq {

/// What runs after a hooked method, by the kind of method: the receiver, the selector and the method's
/// arguments, with numbers and booleans as objects.
using OQUploadHookBlock = std::function<void(Object& receiver, SEL selector, const Value& info,
                                             const std::string& event, const UploadHandler& handler)>;
using OQAppearanceHookBlock = std::function<void(Object& receiver, SEL selector, const Value& animated)>;
using OQMailHookBlock = std::function<void(Object& receiver, SEL selector, Object* controller,
                                           const Value& result, const std::optional<Error>& error)>;
using OQSwizzleBlock = std::variant<OQUploadHookBlock, OQAppearanceHookBlock, OQMailHookBlock>;

/// The record of one hooked selector. Everything but the blocks is fixed once it is made; blocks may be added
/// and removed while other threads run them.
class OQSwizzle : public Object {
  OQ_CLASS(OQSwizzle)

 public:
  using Blocks = std::map<std::string, OQSwizzleBlock>;

  OQSwizzle() = default;
  OQSwizzle(OQSwizzleBlock block, const std::string& name, Class* swizzledClass, SEL selector,
            IMP originalMethod);

  /// The class on which the hook was installed.
  Class* swizzledClass() const { return _class; }
  SEL selector() const { return _selector; }
  /// What the method did before; nullptr when there was no method.
  IMP originalMethod() const { return _originalMethod; }
  /// Always 0; nothing sets it.
  std::uint32_t numArgs() const { return _numArgs; }

  /// The blocks by name, as they are at this moment.
  std::shared_ptr<const Blocks> blocks() const { return _blocks.load(); }
  /// Takes the place of an earlier block of that name. Callers that change blocks take turns.
  void setBlock(const std::string& name, OQSwizzleBlock block);
  /// Whether there was one.
  bool removeBlock(const std::string& name);

  std::string description() const override;

 private:
  Class* _class = nullptr;
  SEL _selector = nullptr;
  IMP _originalMethod = nullptr;
  std::uint32_t _numArgs = 0;
  Snapshot<Blocks> _blocks;
};

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
  static void swizzleSelector(SEL selector, Class* cls, OQSwizzleBlock block,
                              const std::optional<std::string>& name);
  /// Removes the block of that name. The class takes no part, and the method stays hooked.
  static void unswizzleSelector(SEL selector, Class* cls, const std::optional<std::string>& name);
  /// The record of the selector; nullptr before it is hooked.
  static std::shared_ptr<OQSwizzle> swizzleForSelector(SEL selector);
};

}  // namespace oq
