#include "Utils/OQSwizzleSlots.h"

#include <array>
#include <utility>

#include "Foundation/Format.h"
#include "Runtime/Hook.h"
#include "oqsdk/Exception.h"

namespace oq {

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
/// In the order in which a selector is looked for.
std::array<OQSwizzleSlot*, 4> allSlots();

/// An original that is running on this thread.
struct RunningOriginal {
  const OQSwizzleSlot* slot;
  const Object* receiver;
  std::uint64_t sends;  ///< tells the message that it runs for
  bool cameBack;
  const RunningOriginal* outer;
};
thread_local const RunningOriginal* innermost = nullptr;

/// The original that passed this very call on to the slot again; nullptr for a call of its own, as one that
/// the original or a block sends.
const RunningOriginal* originalThatCameBack(const OQSwizzleSlot& slot, const Object& receiver,
                                            std::uint64_t sends) {
  for (auto* running = innermost; running; running = running->outer) {
    if (running->slot == &slot && running->receiver == &receiver && running->sends == sends) return running;
  }
  return nullptr;
}

/// Runs the original, if the receiver can take it, and tells whether the blocks are next. They are not when
/// the call went in a circle: another library has put its hook in twice, below ours and above, and ours is
/// below its own. Then the method that was there before all hooks ends the circle.
template <class TypedSelector, class... Arguments>
bool runOriginal(const OQSwizzleSlot& slot, const OQSwizzle& swizzle, Object& self, SEL selector,
                 const Arguments&... arguments) {
  if (!swizzle.canCallOriginal(self)) return true;
  const std::uint64_t sends = detail::sendCount(swizzle.selector());
  const RunningOriginal* before = originalThatCameBack(slot, self, sends);
  if (before && before->cameBack) return false;
  IMP original = before ? swizzle.firstMethod() : swizzle.originalMethod();
  const RunningOriginal running{&slot, &self, sends, before != nullptr, innermost};
  struct Ending {
    ~Ending() { innermost = innermost->outer; }
  };
  innermost = &running;
  const Ending ending;
  TypedSelector::typed(original)(self, selector, arguments...);
  return !before;
}

/// Calls the blocks of this moment; one of them may add or remove others. The arguments are made afresh for
/// each.
template <class HookBlock, class Call>
void forEachBlock(const OQSwizzleSlot& slot, const Call& call) {
  const OQSwizzle* swizzle = slot.current();  // another one, perhaps, since the original began
  if (!swizzle) return;
  auto blocks = swizzle->blocks();
  for (const auto& [name, block] : *blocks) call(std::get<HookBlock>(block));
}

// The trampolines. A slot is the same for every class, so climbing from the receiver's class until one is
// taken comes down to one question.

void oqSwizzledMethodsaveUploadInfo(Object& self, SEL selector, const Value& info, const std::string& event,
                                    const UploadHandler& handler) {
  const auto& slot = saveUploadInfoSwizzle();
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!runOriginal<UploadSelector>(slot, *swizzle, self, selector, info, event, handler)) return;
  forEachBlock<OQUploadHookBlock>(slot,
                                  [&](const auto& block) { block(self, selector, info, event, handler); });
}

/// Unlike the other two, a screen's original is called without asking first, which is meant: where there is
/// none the call fails as for any selector that a class lacks, and no block runs.
void callScreen(const OQSwizzleSlot& slot, Object& self, SEL selector, bool animated) {
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!swizzle->canCallOriginal(self)) {
    throw Exception("NSInvalidArgumentException",
                    stringWithFormat("-[%@ %@]: hooked, but never implemented", class_getName(self.class_()),
                                     sel_getName(selector)));
  }
  if (!runOriginal<AppearanceSelector>(slot, *swizzle, self, selector, animated)) return;
  forEachBlock<OQAppearanceHookBlock>(slot,
                                      [&](const auto& block) { block(self, selector, Value(animated)); });
}

void oqSwizzledMethodUIViewControllerViewDidAppear(Object& self, SEL selector, bool animated) {
  callScreen(UIViewControllerViewDidAppearSwizzle(), self, selector, animated);
}

void oqSwizzledMethodUIViewControllerViewWillDisappear(Object& self, SEL selector, bool animated) {
  callScreen(UIViewControllerViewWillDisappearSwizzle(), self, selector, animated);
}

void oqSwizzledMethodMailComposeControllerDidFinishWithResult(Object& self, SEL selector, Object* controller,
                                                              std::int64_t result,
                                                              const std::optional<Error>& error) {
  const auto& slot = MailComposeControllerDidFinishWithResultSwizzle();
  const OQSwizzle* swizzle = slot.current();
  if (!swizzle) return;
  if (!runOriginal<MailSelector>(slot, *swizzle, self, selector, controller, result, error)) return;
  forEachBlock<OQMailHookBlock>(
      slot, [&](const auto& block) { block(self, selector, controller, Value(result), error); });
}

/// Another library has put its hook in or out below a trampoline.
void originalChanged(IMP trampoline, IMP was, IMP is) {
  for (OQSwizzleSlot* slot : allSlots()) {
    if (slot->trampoline() != trampoline) continue;
    if (auto swizzle = slot->load()) swizzle->replaceOriginalMethod(was, is);
  }
}

template <class TypedSelector, class HookBlock>
OQSwizzleSlot& makeSlot(std::string_view name, typename TypedSelector::Function trampoline) {
  const std::size_t kind = OQSwizzleBlock(std::in_place_type<HookBlock>).index();
  detail::registerHook(sel_registerName(name), TypedSelector::erase(trampoline), &originalChanged);
  return *new OQSwizzleSlot(name, TypedSelector::erase(trampoline),
                            typeEncodingOf<typename TypedSelector::Signature>(), kind);
}

OQSwizzleSlot& saveUploadInfoSwizzle() {
  static auto& slot = makeSlot<UploadSelector, OQUploadHookBlock>("saveUploadInfo:event:handler:",
                                                                  &oqSwizzledMethodsaveUploadInfo);
  return slot;
}

OQSwizzleSlot& UIViewControllerViewDidAppearSwizzle() {
  static auto& slot = makeSlot<AppearanceSelector, OQAppearanceHookBlock>(
      "viewDidAppear:", &oqSwizzledMethodUIViewControllerViewDidAppear);
  return slot;
}

OQSwizzleSlot& UIViewControllerViewWillDisappearSwizzle() {
  static auto& slot = makeSlot<AppearanceSelector, OQAppearanceHookBlock>(
      "viewWillDisappear:", &oqSwizzledMethodUIViewControllerViewWillDisappear);
  return slot;
}

OQSwizzleSlot& MailComposeControllerDidFinishWithResultSwizzle() {
  static auto& slot =
      makeSlot<MailSelector, OQMailHookBlock>("mailComposeController:didFinishWithResult:error:",
                                              &oqSwizzledMethodMailComposeControllerDidFinishWithResult);
  return slot;
}

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
