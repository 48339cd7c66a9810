// SPDX-License-Identifier: Apache-2.0
#include "Hooks/OQSwizzle.h"

#include <array>
#include <utility>

#include "Foundation/Values/Format.h"
#include "Runtime/Hook.h"
#include "oqsdk/Exception.h"

namespace oq {

Class* OQSwizzle::staticClass() {
  static Class* registered = registerClass("OQSwizzle", Object::staticClass());
  return registered;
}

OQSwizzle::OQSwizzle(OQSwizzleBlock block, const std::string& name, Class* swizzledClass, SEL selector, IMP original,
                     const Class* originalClass, IMP first)
    : _class(swizzledClass),
      _selector(selector),
      _originalMethod(original),
      _originalClass(originalClass),
      _firstMethod(first) {
  setBlock(name, std::move(block));
}

bool OQSwizzle::canCallOriginal(const Object& receiver) const {
  return originalMethod() && receiver.isKindOfClass(_originalClass);
}

std::shared_ptr<const OQSwizzle::Blocks> OQSwizzle::setBlock(const std::string& name, OQSwizzleBlock block) {
  auto changed = std::make_shared<Blocks>(*blocks());
  changed->insert_or_assign(name, std::move(block));
  return _blocks.exchange(std::move(changed));
}

std::shared_ptr<const OQSwizzle::Blocks> OQSwizzle::removeBlock(const std::string& name) {
  auto changed = std::make_shared<Blocks>(*blocks());
  changed->erase(name);
  return _blocks.exchange(std::move(changed));
}

std::string OQSwizzle::description() const {
  std::string lines;
  const auto held = blocks();  // kept alive, because another thread may replace the blocks
  for (const auto& [name, block] : *held) lines += stringWithFormat("\t%@ : %@\n", name, "<block>");
  return stringWithFormat("Swizzle on %@::%@ [\n%@]", class_getName(_class), sel_getName(_selector), lines);
}

std::shared_ptr<OQSwizzle> OQSwizzleSlot::load() const {
  std::lock_guard lock(_mutex);
  return _swizzle;
}

std::shared_ptr<OQSwizzle> OQSwizzleSlot::exchange(std::shared_ptr<OQSwizzle> swizzle) {
  std::lock_guard lock(_mutex);
  _current.store(swizzle.get(), std::memory_order_release);
  if (_swizzle) _former.push_back(_swizzle);
  return std::exchange(_swizzle, std::move(swizzle));
}

namespace {

using UploadSelector = Selector<void(const Value&, const std::string&, const UploadHandler&)>;
using AppearanceSelector = Selector<void(bool)>;
using MailSelector = Selector<void(Object*, std::int64_t, const std::optional<Error>&)>;

OQSwizzleSlot& saveUploadInfoSwizzle();
OQSwizzleSlot& UIViewControllerViewDidAppearSwizzle();
OQSwizzleSlot& UIViewControllerViewWillDisappearSwizzle();
OQSwizzleSlot& MailComposeControllerDidFinishWithResultSwizzle();

/// A message, that is a method call with send(), to a hooked method. It entered through the slot's entry(), and its
/// call is running on this thread.
struct Message {
  const OQSwizzleSlot* slot;
  const Object* receiver;
  IMP implementation;  ///< the one that the entry called
  int passes;          ///< how many calls of the trampoline are running for this message
  Message* outer;
};
thread_local Message* innermost = nullptr;

Message* currentMessage(const OQSwizzleSlot& slot, const Object& receiver) {
  for (Message* message = innermost; message; message = message->outer) {
    if (message->slot == &slot && message->receiver == &receiver) return message;
  }
  return nullptr;
}

/// The implementation that the trampoline calls next. If another library installs its replacement of the method a
/// second time, after the hook, that replacement and the trampoline call each other in a cycle. The implementation that
/// the method was created with ends the cycle.
IMP nextImplementation(const OQSwizzle& swizzle, const Message& message) {
  IMP original = swizzle.originalMethod();
  const bool isCircle = message.passes > 0 || original == message.implementation;
  return isCircle ? swizzle.firstMethod() : original;
}

template <class TypedSelector, class... Arguments>
void passOn(const OQSwizzle& swizzle, Message& message, Object& self, SEL selector, const Arguments&... arguments) {
  if (message.passes > 1) return;
  IMP next = nextImplementation(swizzle, message);
  struct Pass {
    explicit Pass(Message& of) : message(of) { ++message.passes; }
    ~Pass() { --message.passes; }
    Message& message;
  };
  const Pass pass(message);
  TypedSelector::typed(next)(self, selector, arguments...);
}

/// The first step of a message to a hooked method: calls the method's implementation, which is the trampoline or a
/// replacement that another library has set after the hook.
template <class TypedSelector, class... Arguments>
void callImplementation(const OQSwizzleSlot& slot, IMP implementation, Object& self, SEL selector,
                        const Arguments&... arguments) {
  struct Entered {
    ~Entered() { innermost = message.outer; }
    Message message;
  };
  Entered entered{{&slot, &self, implementation, 0, innermost}};
  innermost = &entered.message;
  const OQSwizzle* swizzle = slot.current();
  if (implementation == slot.trampoline() && swizzle && swizzle->canCallOriginal(self)) {
    // The usual case. The result is the same as in the other branch, but no search for the message is needed.
    passOn<TypedSelector>(*swizzle, entered.message, self, selector, arguments...);
  } else {
    TypedSelector::typed(implementation)(self, selector, arguments...);
  }
}

/// Whether another library passes on a call late. It may store a call and pass it on after the message has ended, or on
/// another thread. The blocks must not run for such a call, because they run for the message itself.
bool isPassedOnLate(const OQSwizzleSlot& slot, const Object& receiver, SEL selector) {
  const Method* method = class_getInstanceMethod(receiver.class_(), selector);
  return method && detail::messageEntry(*method) && method_getImplementation(method) != slot.trampoline();
}

/// The first half of the trampoline: calls the original. Returns whether the caller must run the blocks next. The
/// result is false if the message entered through entry(), which runs the blocks itself, and if the call is passed on
/// late.
template <class TypedSelector, class... Arguments>
bool callOriginal(const OQSwizzleSlot& slot, const OQSwizzle& swizzle, Object& self, SEL selector,
                  const Arguments&... arguments) {
  Message* message = currentMessage(slot, self);
  const bool runsBlocks = !message && !isPassedOnLate(slot, self, swizzle.selector());
  if (!swizzle.canCallOriginal(self)) return runsBlocks;
  if (message) {
    passOn<TypedSelector>(swizzle, *message, self, selector, arguments...);
  } else {
    TypedSelector::typed(swizzle.originalMethod())(self, selector, arguments...);
  }
  return runsBlocks;
}

/// Passes each current block to `call`. A block may add or remove blocks; this does not change which blocks run now.
template <class HookBlock, class Call>
void forEachBlock(const OQSwizzleSlot& slot, const Call& call) {
  const OQSwizzle* swizzle = slot.current();  // another thread may have replaced it while the original ran
  if (!swizzle) return;
  auto blocks = swizzle->blocks();
  for (const auto& [name, block] : *blocks) call(std::get<HookBlock>(block));
}

// Three functions for each selector: one runs its blocks, one is the trampoline, and one is the message entry. All
// classes share the slot of a selector, so the functions need not search the receiver's class and its superclasses for
// a record.

void runUploadBlocks(Object& self, SEL selector, const Value& info, const std::string& event,
                     const UploadHandler& handler) {
  forEachBlock<OQUploadHookBlock>(saveUploadInfoSwizzle(),
                                  [&](const auto& block) { block(self, selector, info, event, handler); });
}

void oqSwizzledMethodsaveUploadInfo(Object& self, SEL selector, const Value& info, const std::string& event,
                                    const UploadHandler& handler) {
  const auto& slot = saveUploadInfoSwizzle();
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!callOriginal<UploadSelector>(slot, *swizzle, self, selector, info, event, handler)) return;
  runUploadBlocks(self, selector, info, event, handler);
}

void saveUploadInfoSent(IMP implementation, Object& self, SEL selector, const Value& info, const std::string& event,
                        const UploadHandler& handler) {
  callImplementation<UploadSelector>(saveUploadInfoSwizzle(), implementation, self, selector, info, event, handler);
  runUploadBlocks(self, selector, info, event, handler);
}

void runScreenBlocks(const OQSwizzleSlot& slot, Object& self, SEL selector, bool animated) {
  forEachBlock<OQAppearanceHookBlock>(slot, [&](const auto& block) { block(self, selector, Value(animated)); });
}

/// The trampoline of both screen selectors. Intentionally different from the other two trampolines: if no original may
/// be called for this screen, the call throws, like a call of any method that a class lacks, and no block runs.
void callScreen(const OQSwizzleSlot& slot, Object& self, SEL selector, bool animated) {
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!swizzle->canCallOriginal(self)) {
    throw Exception("NSInvalidArgumentException",
                    stringWithFormat("-[%@ %@]: hooked, but never implemented", class_getName(self.class_()),
                                     sel_getName(selector)));
  }
  if (!callOriginal<AppearanceSelector>(slot, *swizzle, self, selector, animated)) return;
  runScreenBlocks(slot, self, selector, animated);
}

void screenSent(const OQSwizzleSlot& slot, IMP implementation, Object& self, SEL selector, bool animated) {
  callImplementation<AppearanceSelector>(slot, implementation, self, selector, animated);
  runScreenBlocks(slot, self, selector, animated);
}

void oqSwizzledMethodUIViewControllerViewDidAppear(Object& self, SEL selector, bool animated) {
  callScreen(UIViewControllerViewDidAppearSwizzle(), self, selector, animated);
}

void viewDidAppearSent(IMP implementation, Object& self, SEL selector, bool animated) {
  screenSent(UIViewControllerViewDidAppearSwizzle(), implementation, self, selector, animated);
}

void oqSwizzledMethodUIViewControllerViewWillDisappear(Object& self, SEL selector, bool animated) {
  callScreen(UIViewControllerViewWillDisappearSwizzle(), self, selector, animated);
}

void viewWillDisappearSent(IMP implementation, Object& self, SEL selector, bool animated) {
  screenSent(UIViewControllerViewWillDisappearSwizzle(), implementation, self, selector, animated);
}

void runMailBlocks(Object& self, SEL selector, Object* controller, std::int64_t result,
                   const std::optional<Error>& error) {
  forEachBlock<OQMailHookBlock>(MailComposeControllerDidFinishWithResultSwizzle(),
                                [&](const auto& block) { block(self, selector, controller, Value(result), error); });
}

void oqSwizzledMethodMailComposeControllerDidFinishWithResult(Object& self, SEL selector, Object* controller,
                                                              std::int64_t result, const std::optional<Error>& error) {
  const auto& slot = MailComposeControllerDidFinishWithResultSwizzle();
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!callOriginal<MailSelector>(slot, *swizzle, self, selector, controller, result, error)) return;
  runMailBlocks(self, selector, controller, result, error);
}

void mailComposeControllerDidFinishWithResultSent(IMP implementation, Object& self, SEL selector, Object* controller,
                                                  std::int64_t result, const std::optional<Error>& error) {
  callImplementation<MailSelector>(MailComposeControllerDidFinishWithResultSwizzle(), implementation, self, selector,
                                   controller, result, error);
  runMailBlocks(self, selector, controller, result, error);
}

template <class TypedSelector, class HookBlock>
OQSwizzleSlot& makeSlot(std::string_view name, typename TypedSelector::Function trampoline,
                        typename detail::MessageTo<typename TypedSelector::Signature>::Entry entry) {
  const std::size_t kind = OQSwizzleBlock(std::in_place_type<HookBlock>).index();
  return *new OQSwizzleSlot(name, TypedSelector::erase(trampoline), reinterpret_cast<IMP>(entry),
                            typeEncodingOf<typename TypedSelector::Signature>(), kind);
}

OQSwizzleSlot& saveUploadInfoSwizzle() {
  static auto& slot = makeSlot<UploadSelector, OQUploadHookBlock>(
      "saveUploadInfo:event:handler:", &oqSwizzledMethodsaveUploadInfo, &saveUploadInfoSent);
  return slot;
}

OQSwizzleSlot& UIViewControllerViewDidAppearSwizzle() {
  static auto& slot = makeSlot<AppearanceSelector, OQAppearanceHookBlock>(
      "viewDidAppear:", &oqSwizzledMethodUIViewControllerViewDidAppear, &viewDidAppearSent);
  return slot;
}

OQSwizzleSlot& UIViewControllerViewWillDisappearSwizzle() {
  static auto& slot = makeSlot<AppearanceSelector, OQAppearanceHookBlock>(
      "viewWillDisappear:", &oqSwizzledMethodUIViewControllerViewWillDisappear, &viewWillDisappearSent);
  return slot;
}

OQSwizzleSlot& MailComposeControllerDidFinishWithResultSwizzle() {
  static auto& slot = makeSlot<MailSelector, OQMailHookBlock>(
      "mailComposeController:didFinishWithResult:error:", &oqSwizzledMethodMailComposeControllerDidFinishWithResult,
      &mailComposeControllerDidFinishWithResultSent);
  return slot;
}

/// All slots, in the order in which a selector is looked up.
std::array<OQSwizzleSlot*, 4> allSlots() {
  return {&saveUploadInfoSwizzle(), &UIViewControllerViewDidAppearSwizzle(),
          &UIViewControllerViewWillDisappearSwizzle(), &MailComposeControllerDidFinishWithResultSwizzle()};
}

}  // namespace

OQSwizzleSlot* getSwizzleByName(std::string_view selectorName) {
  for (OQSwizzleSlot* slot : allSlots()) {
    if (slot->selectorName() == selectorName) return slot;
  }
  return nullptr;
}

IMP getSwizzleIMPBySELName(std::string_view selectorName) {
  const OQSwizzleSlot* slot = getSwizzleByName(selectorName);
  return slot ? slot->trampoline() : nullptr;
}

}  // namespace oq
