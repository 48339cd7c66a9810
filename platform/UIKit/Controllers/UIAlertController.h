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

  /// The handler may be empty; the button then only closes the alert.
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

/// A question over everything else, to be presented: title, message, and a button for each action, in their
/// order, side by side when there are two. A tap on a button dismisses the alert and, once it has gone, calls
/// the action's handler. Destructive buttons are red, those that cancel are bold. Main thread only; made with
/// alertControllerWithTitle().
class UIAlertController : public UIViewController {
  OQ_CLASS(UIAlertController)

 public:
  static std::shared_ptr<UIAlertController> alertControllerWithTitle(std::optional<std::string> title,
                                                                     std::optional<std::string> message,
                                                                     UIAlertControllerStyle preferredStyle);
  UIAlertController();

  /// Before the alert is presented.
  void addAction(std::shared_ptr<UIAlertAction> action);
  const std::vector<std::shared_ptr<UIAlertAction>>& actions() const { return _actions; }
  const std::optional<std::string>& message() const { return _message; }

 protected:
  std::shared_ptr<UIView> loadView() override;

 private:
  void answer(const std::shared_ptr<UIAlertAction>& action);
  /// What Escape stands for: the action that cancels, or else the first that does nothing.
  std::shared_ptr<UIAlertAction> wayOut() const;

  std::optional<std::string> _message;
  std::vector<std::shared_ptr<UIAlertAction>> _actions;
};

}  // namespace oq
