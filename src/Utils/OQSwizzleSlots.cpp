#include "Utils/OQSwizzleSlots.h"

#include <array>
#include <utility>

#include "Foundation/Format.h"
#include "oqsdk/Exception.h"

namespace oq {

std::shared_ptr<OQSwizzle> OQSwizzleSlot::load() const {
  std::lock_guard lock(_mutex);
  return _swizzle;
}

std::shared_ptr<OQSwizzle> OQSwizzleSlot::exchange(std::shared_ptr<OQSwizzle> swizzle) {
  std::lock_guard lock(_mutex);
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

/// Calls the blocks of this moment; one of them may add or remove others. The arguments are made afresh for
/// each.
template <class HookBlock, class Call>
void forEachBlock(const OQSwizzle& swizzle, const Call& call) {
  auto blocks = swizzle.blocks();
  for (const auto& [name, block] : *blocks) call(std::get<HookBlock>(block));
}

// The trampolines. A slot is the same for every class, so climbing from the receiver's class until one is
// taken comes down to one question.

void oqSwizzledMethodsaveUploadInfo(Object& self, SEL selector, const Value& info, const std::string& event,
                                    const UploadHandler& handler) {
  auto swizzle = saveUploadInfoSwizzle().load();
  if (!swizzle) return;
  if (swizzle->canCallOriginal(self)) {
    UploadSelector::typed(swizzle->originalMethod())(self, selector, info, event, handler);
  }
  forEachBlock<OQUploadHookBlock>(*swizzle,
                                  [&](const auto& block) { block(self, selector, info, event, handler); });
}

/// Unlike the other two, a screen's original is called without asking first, which is meant: where there is
/// none the call fails as for any selector that a class lacks, and no block runs.
void callScreen(const OQSwizzleSlot& slot, Object& self, SEL selector, bool animated) {
  auto swizzle = slot.load();
  if (!swizzle) return;
  if (!swizzle->canCallOriginal(self)) {
    throw Exception("NSInvalidArgumentException",
                    stringWithFormat("-[%@ %@]: hooked, but never implemented", class_getName(self.class_()),
                                     sel_getName(selector)));
  }
  AppearanceSelector::typed(swizzle->originalMethod())(self, selector, animated);
  forEachBlock<OQAppearanceHookBlock>(*swizzle,
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
  auto swizzle = MailComposeControllerDidFinishWithResultSwizzle().load();
  if (!swizzle) return;
  if (swizzle->canCallOriginal(self)) {
    MailSelector::typed(swizzle->originalMethod())(self, selector, controller, result, error);
  }
  forEachBlock<OQMailHookBlock>(
      *swizzle, [&](const auto& block) { block(self, selector, controller, Value(result), error); });
}

template <class TypedSelector, class HookBlock>
OQSwizzleSlot& makeSlot(std::string_view name, typename TypedSelector::Function trampoline) {
  const std::size_t kind = OQSwizzleBlock(std::in_place_type<HookBlock>).index();
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

}  // namespace

OQSwizzleSlot* getSwizzleByName(std::string_view selectorName) {
  OQSwizzleSlot* const slots[] = {&saveUploadInfoSwizzle(), &UIViewControllerViewDidAppearSwizzle(),
                                  &UIViewControllerViewWillDisappearSwizzle(),
                                  &MailComposeControllerDidFinishWithResultSwizzle()};
  for (OQSwizzleSlot* slot : slots) {
    if (slot->selectorName() == selectorName) return slot;
  }
  return nullptr;
}

IMP getSwizzleIMPBySELName(std::string_view selectorName) {
  const OQSwizzleSlot* slot = getSwizzleByName(selectorName);
  return slot ? slot->trampoline() : nullptr;
}

}  // namespace oq
