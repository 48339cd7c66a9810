// SPDX-License-Identifier: Apache-2.0
#include "Hooks/OQSwizzler.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "Foundation/Values/Format.h"
#include "Runtime/Hook.h"
#include "Utils/OQLogger.h"

namespace oq {

namespace {

/// One hook to install, and the result.
struct Hook {
  SEL selector;
  Class* cls;
  Method* method;  ///< nullptr if the class has no such method
  OQSwizzleBlock block;
  std::string name;
  /// The message to log after all locks are released.
  std::optional<std::string> failure;
  /// The replaced blocks. Destroyed after the lock is released, because destroying a block may run any code.
  std::shared_ptr<const void> replaced;
};

/// Held while a hook is installed or removed; never while a method or a block runs.
std::mutex& installing() {
  static std::mutex& mutex = *new std::mutex();
  return mutex;
}

bool isMissing(const OQSwizzleBlock& block) {
  return std::visit([](const auto& function) { return !function; }, block);
}

/// A method of another signature must not be called through the trampoline.
bool hasSignatureOf(const OQSwizzleSlot& slot, const Method* method) {
  const char* encoding = method_getTypeEncoding(method);
  return !encoding || std::strcmp(encoding, slot.typeEncoding()) == 0;
}

const Class* definingClass(const Class* cls, const Method* method) {
  while (cls && !OQSwizzler::isLocallyDefinedMethod(method, cls)) cls = class_getSuperclass(cls);
  return cls;
}

std::shared_ptr<OQSwizzle> makeRecord(Hook& hook, IMP original, const Class* originalClass, IMP first) {
  return std::make_shared<OQSwizzle>(std::move(hook.block), hook.name, hook.cls, hook.selector, original, originalClass,
                                     first);
}

void hookOwnMethod(OQSwizzleSlot& slot, Hook& hook) {
  if (auto record = slot.load()) {
    hook.replaced = record->setBlock(hook.name, std::move(hook.block));
    return;
  }
  // The record is stored first: another thread that finds the trampoline must find the original, too.
  auto record =
      makeRecord(hook, method_getImplementation(hook.method), hook.cls, detail::firstImplementation(hook.method));
  slot.exchange(record);
  record->setOriginalMethod(
      method_setImplementation(hook.method, slot.trampoline()));  // another thread may have changed the method since
  detail::setMessageEntry(*hook.method, slot.entry());
}

void hookInheritedMethod(OQSwizzleSlot& slot, Hook& hook) {
  auto former = slot.load();
  // If the selector is already hooked, the inherited method may be the trampoline, so the original is taken from the
  // former record.
  IMP original = former ? former->originalMethod() : method_getImplementation(hook.method);
  IMP first = former ? former->firstMethod() : detail::firstImplementation(hook.method);
  const Class* originalClass = former ? former->originalClass() : definingClass(hook.cls, hook.method);
  // Intentional: the new record replaces the former one together with its blocks.
  slot.exchange(makeRecord(hook, original, originalClass, first));
  const char* inherited = method_getTypeEncoding(hook.method);
  bool added = class_addMethod(hook.cls, hook.selector, slot.trampoline(), inherited ? inherited : slot.typeEncoding());
  if (!added) {
    hook.failure = stringWithFormat(
        "SwizzleException:Could not add swizzle for %@::%@, even though it didn't already exist locally",
        class_getName(hook.cls), sel_getName(hook.selector));
  } else if (class_getInstanceMethod(hook.cls, hook.selector) == hook.method) {
    hook.failure = stringWithFormat("SwizzleException:Newly added method for %@::%@ was the same as the old method",
                                    class_getName(hook.cls), sel_getName(hook.selector));
  }
  if (!hook.failure) detail::setMessageEntry(*class_getInstanceMethod(hook.cls, hook.selector), slot.entry());
  const auto dropped = hook.failure ? slot.exchange(former) : former;
  if (dropped) hook.replaced = dropped->removeAllBlocks();
}

}  // namespace

bool OQSwizzler::isLocallyDefinedMethod(const Method* method, const Class* cls) {
  auto own = class_copyMethodList(cls);
  return std::find(own.begin(), own.end(), method) != own.end();
}

void OQSwizzler::swizzleSelector(SEL selector, Class* cls, OQSwizzleBlock block,
                                 const std::optional<std::string>& name) {
  if (!selector || !cls || isMissing(block) || !name) return;
  Method* method = class_getInstanceMethod(cls, selector);
  if (!method) {
    OQLogger::error(stringWithFormat("SwizzleException:Cannot find method for %@ on %@", sel_getName(selector),
                                     class_getName(cls)));
    // Intentional: continues without a method. The class then gets one that only runs the blocks or, for a screen,
    // throws.
  }
  OQSwizzleSlot* slot = getSwizzleByName(sel_getName(selector));
  if (!slot || !slot->accepts(block) || !hasSignatureOf(*slot, method)) return;

  Hook hook{selector, cls, method, std::move(block), *name, std::nullopt, nullptr};
  {
    std::lock_guard lock(installing());
    if (isLocallyDefinedMethod(method, cls)) {
      hookOwnMethod(*slot, hook);
    } else {
      hookInheritedMethod(*slot, hook);
    }
  }
  if (hook.failure) OQLogger::error(*hook.failure);
}

void OQSwizzler::unswizzleSelector(SEL selector, Class*, const std::optional<std::string>& name) {
  OQSwizzleSlot* slot = selector && name ? getSwizzleByName(sel_getName(selector)) : nullptr;
  if (!slot) return;
  std::shared_ptr<const void> replaced;
  std::lock_guard lock(installing());
  if (auto record = slot->load()) replaced = record->removeBlock(*name);
}

std::shared_ptr<OQSwizzle> OQSwizzler::swizzleForSelector(SEL selector) {
  OQSwizzleSlot* slot = selector ? getSwizzleByName(sel_getName(selector)) : nullptr;
  return slot ? slot->load() : nullptr;
}

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
