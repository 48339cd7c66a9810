// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/MFMailComposeViewController.h"
#include "UIKit/Controllers/UIAlertController.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Views/UILabel.h"
#include "platform/UIKit/Windows/ScriptedHost.h"
#include "support/ScreenParts.h"

namespace oq {
namespace {

class AlertTest : public UIKitTest {
 protected:
  void present(std::initializer_list<std::shared_ptr<UIAlertAction>> actions, CGSize screen = {375, 667}) {
    UIScreen::mainScreen().setBounds({{}, screen});
    window->setFrame({{}, screen});
    alert = UIAlertController::alertControllerWithTitle("Title", "Message", UIAlertControllerStyle::Alert);
    for (const auto& action : actions) alert->addAction(action);
    window->setRootViewController(makeMainObject<UIViewController>());
    window->rootViewController()->presentViewController(alert, false);
    buttons = test::viewsIn<UIButton>(alert->view());
    labels = test::viewsIn<UILabel>(alert->view());
    card = buttons.at(0)->superview();
  }
  std::shared_ptr<UIAlertAction> action(const char* title, UIAlertActionStyle style = UIAlertActionStyle::Default) {
    return UIAlertAction::actionWithTitle(title, style, [this, title](auto&) { answers.emplace_back(title); });
  }
  void tap(UIView& view) {
    const CGPoint at = view.convertPointToWindow(view.bounds().center());
    window->touchBegan(0, at, host.time);
    window->touchEnded(0, at, host.time);
  }

  std::shared_ptr<UIAlertController> alert;
  std::vector<std::shared_ptr<UIButton>> buttons;
  std::vector<std::shared_ptr<UILabel>> labels;
  std::shared_ptr<UIView> card;
  std::vector<std::string> answers;
};

TEST_F(AlertTest, StacksTextAndButtonsOnACardInTheMiddle) {
  present({action("go"), action("delete", UIAlertActionStyle::Destructive), action("no", UIAlertActionStyle::Cancel)});
  const CGRect title = labels.at(0)->frame(), message = labels.at(1)->frame(), first = buttons[0]->frame();
  EXPECT_EQ(labels[0]->text(), "Title");
  EXPECT_EQ(labels[1]->text(), "Message");
  EXPECT_EQ(title, CGRectMake(16, 20, 268, title.size.height));
  EXPECT_EQ(message, CGRectMake(16, title.maxY() + 6, 268, message.size.height));
  EXPECT_GT(title.size.height, message.size.height);
  EXPECT_EQ(first, CGRectMake(0, message.maxY() + 20, 300, 46));
  EXPECT_EQ(buttons[2]->frame(), CGRectMake(0, first.minY() + 2 * 46, 300, 46));
  EXPECT_EQ(card->bounds().size, (CGSize{300, buttons[2]->frame().maxY()}));
  EXPECT_EQ(card->superview()->frame().origin, (CGPoint{37, std::floor((667 - card->bounds().size.height) / 2)}));
  const auto line = card->subviews().at(5);
  EXPECT_EQ(line->frame(), CGRectMake(0, first.minY(), 300, 0.5)) << "above the first button";
  EXPECT_LT(line->backgroundColor().red, 0.9);

  const UIColor blue{0, 0.44, 0.92, 1}, red{0.85, 0.16, 0.13, 1};
  const std::vector<UIColor> colors{blue, red, blue};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(buttons[i]->titleColorForState(UIControlStateNormal), colors[i]) << i;
    EXPECT_EQ(buttons[i]->titleLabel().font().isBold(), i == 2) << "only cancelling buttons are bold";
  }
}

TEST_F(AlertTest, TwoButtonsAreSideBySideAndNarrowScreensHaveNarrowCards) {
  present({action("a"), action("b")}, {232, 400});
  EXPECT_EQ(buttons[0]->frame().size, (CGSize{100, 46}));
  EXPECT_EQ(buttons[1]->frame(), CGRectMake(100, buttons[0]->frame().minY(), 100, 46));
  EXPECT_EQ(card->bounds().size, (CGSize{200, buttons[0]->frame().maxY()}));
  EXPECT_EQ(card->subviews().back()->frame(), CGRectMake(100, buttons[0]->frame().minY(), 0.5, 46));
  present({action("a")}, {100, 200});
  EXPECT_EQ(card->bounds().size.width, 120);
}

TEST_F(AlertTest, FadesOutAndThenRunsTheHandlerOfTheButtonPressedFirst) {
  present({action("go"), action("no", UIAlertActionStyle::Cancel)});
  tap(*buttons[0]);
  tap(*buttons[1]);
  EXPECT_EQ(alert->view()->window(), window.get());
  stepTo(0.05);
  EXPECT_TRUE(answers.empty()) << "it is still fading";
  stepTo(2);
  EXPECT_EQ(alert->view()->window(), nullptr);
  EXPECT_EQ(answers, (std::vector<std::string>{"go"}));
}

TEST_F(AlertTest, EscapeChoosesCancelOrElseTheFirstButtonThatHasNoHandler) {
  const auto harmless = UIAlertAction::actionWithTitle("ok", UIAlertActionStyle::Default);
  const auto escaped = [&] {
    window->pressKey(UIKeyboardKey::Escape);
    stepTo(host.time + 2);
    return alert->view()->window() == nullptr;
  };
  present({harmless, action("no", UIAlertActionStyle::Cancel)});
  EXPECT_TRUE(escaped());
  EXPECT_EQ(answers, (std::vector<std::string>{"no"}));
  present({action("go"), harmless});
  EXPECT_TRUE(escaped());
  EXPECT_EQ(answers.size(), 1u);
  present({action("go")});
  EXPECT_FALSE(escaped());
}

TEST_F(AlertTest, MailDialogShowsThatTheMailProgramIsBeingOpened) {
  const auto page = makeMainObject<MFMailComposeViewController>()->topViewController()->view();
  EXPECT_EQ(page->accessibilityLabel(), "Opening your mail program");
  labels = test::viewsIn<UILabel>(page);
  EXPECT_EQ(labels.at(0)->text(), "Opening your mail program");
  EXPECT_EQ(labels.at(1)->text(), "The message waits there to be sent.");
}

}  // namespace
}  // namespace oq
