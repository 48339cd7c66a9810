// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Controllers/DialogPage.h"
#include "UIKit/Views/UIButton.h"
#include "UIKit/Views/UIScrollView.h"
#include "platform/UIKit/Windows/ScriptedHost.h"

namespace oq {
namespace {

class KeyboardTest : public UIKitTest {
 protected:
  using Key = UIKeyboardKey;

  std::shared_ptr<UIView> addDialog() {
    auto dialog = std::make_shared<DialogPage>("dialog", [this] { return ++escapes > 0; });
    window->addSubview(dialog);
    return dialog;
  }
  std::shared_ptr<UIButton> addButton(const std::string& title, const std::shared_ptr<UIView>& parent = nullptr) {
    auto button = add<UIButton>(CGRectMake(10, 10, 50, 50), parent);
    button->setTitle(title, UIControlStateNormal);
    button->addTarget([this, title](UIControl&) { pressed.push_back(title); }, UIControlEventTouchUpInside);
    return button;
  }
  int escapes = 0;
  std::vector<std::string> pressed;
};

TEST_F(KeyboardTest, TabCyclesWithinADialogAndOtherwiseLeavesTheWindow) {
  auto behind = addButton("behind");
  EXPECT_TRUE(window->pressKey(Key::Tab));
  EXPECT_EQ(window->focusedView(), behind);
  EXPECT_FALSE(window->pressKey(Key::Tab)) << "to the host's widgets";
  EXPECT_EQ(window->focusedView(), nullptr);
  for (Key key : {Key::Return, Key::Escape, Key::Back, Key::Down}) EXPECT_FALSE(window->pressKey(key));

  auto dialog = addDialog();
  auto first = addButton("first", dialog), disabled = addButton("no", dialog), second = addButton("second", dialog);
  disabled->setEnabled(false);
  window->setFocusedView(behind);
  EXPECT_TRUE(window->pressKey(Key::Return));
  EXPECT_TRUE(pressed.empty()) << "behind the dialog";
  for (const auto& next : {first, second, first}) {
    EXPECT_TRUE(window->pressKey(Key::Tab));
    EXPECT_EQ(window->focusedView(), next);
  }
  EXPECT_TRUE(window->pressKey(Key::BackTab));
  EXPECT_EQ(window->focusedView(), second);
  EXPECT_TRUE(window->pressKey(Key::Return));
  EXPECT_EQ(pressed, (std::vector<std::string>{"second"}));
  EXPECT_TRUE(window->pressKey(Key::Escape));
  EXPECT_EQ(escapes, 1);
  dialog->removeFromSuperview();
  EXPECT_EQ(window->focusedView(), nullptr);
}

TEST_F(KeyboardTest, AnimatingDialogConsumesKeysWithoutEffect) {
  auto dialog = addDialog();
  auto button = addButton("a", dialog);
  UIView::animateWithDuration(1, [&] { button->setAlpha(0.5); });
  for (Key key : {Key::Tab, Key::Escape}) EXPECT_TRUE(window->pressKey(key));
  EXPECT_EQ(window->focusedView(), nullptr);
  EXPECT_EQ(escapes, 0);
}

TEST_F(KeyboardTest, KeysScrollTheFirstViewThatCanScroll) {
  auto dialog = addDialog();
  std::vector<std::shared_ptr<UIScrollView>> scrolls;
  for (int i = 0; i < 3; ++i) {
    scrolls.push_back(add<UIScrollView>(CGRectMake(0, 0, 100, 100), dialog));
    scrolls.back()->setContentSize({100, 1000});
  }
  scrolls[0]->setHidden(true);
  const std::pair<Key, double> keys[] = {{Key::Down, 40},  {Key::PageDown, 130}, {Key::Up, 90},
                                         {Key::PageUp, 0}, {Key::End, 900},      {Key::Home, 0}};
  for (const auto& [key, offset] : keys) {
    EXPECT_TRUE(window->pressKey(key));
    EXPECT_EQ(scrolls[1]->contentOffset().y, offset);
    EXPECT_EQ(scrolls[2]->contentOffset().y, 0);
  }
  scrolls[1]->setContentOffset({0, 900});
  EXPECT_TRUE(window->pressKey(Key::Down));
  EXPECT_EQ(scrolls[2]->contentOffset().y, 40) << "the first one is at its end";
  EXPECT_EQ(scrolls[0]->contentOffset().y, 0);
}

}  // namespace
}  // namespace oq
