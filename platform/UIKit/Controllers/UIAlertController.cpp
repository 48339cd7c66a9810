// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/UIAlertController.h"

#include <utility>

#include "UIKit/Controllers/AlertCard.h"
#include "UIKit/Controllers/DialogPage.h"

namespace oq {

Class* UIAlertAction::staticClass() {
  static Class* registered = registerClass("UIAlertAction", Object::staticClass());
  return registered;
}

std::shared_ptr<UIAlertAction> UIAlertAction::actionWithTitle(std::optional<std::string> title,
                                                              UIAlertActionStyle style, Handler handler) {
  auto action = std::make_shared<UIAlertAction>();
  action->_title = std::move(title);
  action->_style = style;
  action->_handler = std::move(handler);
  return action;
}

void UIAlertAction::perform() {
  if (_handler) _handler(*this);
}

Class* UIAlertController::staticClass() {
  static Class* registered = registerClass("UIAlertController", UIViewController::staticClass());
  return registered;
}

UIAlertController::UIAlertController() {
  setModalPresentationStyle(UIModalPresentationStyle::OverFullScreen);
  setModalTransitionStyle(UIModalTransitionStyle::CrossDissolve);
}

std::shared_ptr<UIAlertController> UIAlertController::alertControllerWithTitle(std::optional<std::string> title,
                                                                               std::optional<std::string> message,
                                                                               UIAlertControllerStyle) {
  auto alert = makeMainObject<UIAlertController>();
  alert->setTitle(title.value_or(""));
  alert->_message = std::move(message);
  return alert;
}

void UIAlertController::addAction(std::shared_ptr<UIAlertAction> action) {
  if (action && !isViewLoaded()) _actions.push_back(std::move(action));
}

std::shared_ptr<UIView> UIAlertController::loadView() {
  const auto escape = [weak = weak_from_this()] {
    const auto alert = std::static_pointer_cast<UIAlertController>(weak.lock());
    const auto action = alert ? alert->wayOut() : nullptr;
    if (action) alert->answer(action);
    return action != nullptr;
  };
  auto page = makeMainObject<DialogPage>(title(), escape);
  std::vector<std::shared_ptr<UIButton>> buttons;
  for (const auto& action : _actions) {
    auto tapped = [weak = weak_from_this(), action] {
      if (auto alert = std::static_pointer_cast<UIAlertController>(weak.lock())) alert->answer(action);
    };
    buttons.push_back(makeAlertButton(action->title(), action->style(), tapped));
  }
  page->addSubview(makeAlertCard(title(), _message.value_or(""), buttons, page->bounds().size.width));
  return page;
}

std::shared_ptr<UIAlertAction> UIAlertController::wayOut() const {
  std::shared_ptr<UIAlertAction> harmless;
  for (const auto& action : _actions) {
    if (action->style() == UIAlertActionStyle::Cancel) return action;
    if (!harmless && action->doesNothing()) harmless = action;
  }
  return harmless;
}

void UIAlertController::answer(const std::shared_ptr<UIAlertAction>& action) {
  // The alert was already answered and is being dismissed.
  if (!presentingViewController()) return;
  dismissViewControllerAnimated(true, [action] { action->perform(); });
}

}  // namespace oq
