// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "UIKit/Controllers/UIViewController.h"

namespace oq {

enum class UIAlertActionStyle : int { Default = 0, Cancel = 1, Destructive = 2 };
enum class UIAlertControllerStyle : int { Alert = 1 };

/// One button of an alert.
class UIAlertAction : public Object {
  OQ_CLASS(UIAlertAction)

 public:
  using Handler = std::function<void(UIAlertAction& action)>;

  /// The handler may be empty; then the button only closes the alert.
  static std::shared_ptr<UIAlertAction> actionWithTitle(std::optional<std::string> title, UIAlertActionStyle style,
                                                        Handler handler = nullptr);
  const std::optional<std::string>& title() const { return _title; }
  UIAlertActionStyle style() const { return _style; }
  void perform();
  bool doesNothing() const { return !_handler; }

 private:
  std::optional<std::string> _title;
  UIAlertActionStyle _style = UIAlertActionStyle::Default;
  Handler _handler;
};

/// A question shown above everything else: title, message, and one button per action, in order (two are side by side).
/// Show it with presentViewController(). A tap on a button dismisses the alert. When the alert is gone, the action's
/// handler is called. Destructive buttons are red, cancelling ones bold. Main thread only; create it with
/// alertControllerWithTitle().
class UIAlertController : public UIViewController {
  OQ_CLASS(UIAlertController)

 public:
  static std::shared_ptr<UIAlertController> alertControllerWithTitle(std::optional<std::string> title,
                                                                     std::optional<std::string> message,
                                                                     UIAlertControllerStyle preferredStyle);
  UIAlertController();

  /// Must be called before the alert is presented.
  void addAction(std::shared_ptr<UIAlertAction> action);
  const std::vector<std::shared_ptr<UIAlertAction>>& actions() const { return _actions; }
  const std::optional<std::string>& message() const { return _message; }

 protected:
  std::shared_ptr<UIView> loadView() override;

 private:
  void answer(const std::shared_ptr<UIAlertAction>& action);
  /// The action for Escape: the cancelling action, or else the first one without a handler.
  std::shared_ptr<UIAlertAction> wayOut() const;

  std::optional<std::string> _message;
  std::vector<std::shared_ptr<UIAlertAction>> _actions;
};

}  // namespace oq
