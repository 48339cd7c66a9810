// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>

#include "Model/OQButtonAttribute.h"
#include "Model/OQTextAttribute.h"
#include "UI/OQButton.h"
#include "UI/OQLabel.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "src/TemporaryFolder.h"

namespace oq {
namespace {

constexpr UIColor kInk{0.1, 0.2, 0.3, 1}, kPaper{0.9, 0.8, 0.7, 1};

class StyledWidget : public testing::Test {
 protected:
  /// An attribute with exactly the values of a server's record.
  template <class Attribute>
  static std::shared_ptr<Attribute> make(const char* json) {
    auto attribute = std::make_shared<Attribute>();
    attribute->setModelWithDic(test::json(json));
    return attribute;
  }
  static UIFont font(double size) { return UIFont::fontWithName("PingFangSC-Regular", size); }

  test::TemporaryFolder folder;
  HeadlessHost host{{.dataDirectory = folder.path()}};
  std::shared_ptr<OQLabel> label = std::make_shared<OQLabel>();
  std::shared_ptr<OQButton> button = std::make_shared<OQButton>();
};

TEST_F(StyledWidget, LabelAppliesSetValuesAndKeepsTheRest) {
  auto full = make<OQTextAttribute>(R"({"text": "你好", "size": "28pd"})");
  full->setColor(kInk);
  full->setBackgroundColor(kPaper);
  auto colourOnly = std::make_shared<OQTextAttribute>();
  colourOnly->setColor(UIColor::redColor());
  colourOnly->setSize(-3);
  for (const auto& attribute : {full, colourOnly, std::shared_ptr<OQTextAttribute>()}) {
    label->setAttribute(attribute);
    EXPECT_EQ(label->attribute(), attribute);
    EXPECT_EQ(label->text(), "你好");
    EXPECT_EQ(label->textColor(), attribute == full ? kInk : UIColor::redColor());
    EXPECT_EQ(label->backgroundColor(), kPaper);
    EXPECT_EQ(label->font(), font(14));
  }
}

TEST_F(StyledWidget, ButtonAppliesSetValuesAndKeepsTheRest) {
  auto full = make<OQButtonAttribute>(R"({"text": "Go", "color": "#ff0000", "background": "#00ff00", "size": 30})");
  auto empty = std::make_shared<OQButtonAttribute>();
  empty->setColor(std::nullopt);
  empty->setBackgroundColor(std::nullopt);
  empty->setSize(0);
  for (const auto& attribute : {full, empty}) {
    button->setAttribute(attribute);
    EXPECT_EQ(button->attribute(), attribute);
    EXPECT_EQ(button->titleForState(UIControlStateNormal), "Go");
    EXPECT_EQ(button->titleColorForState(UIControlStateNormal), UIColor::redColor());
    EXPECT_EQ(button->backgroundColor(), UIColor::greenColor());
    EXPECT_EQ(button->titleLabel().font(), font(15));
  }
}

TEST_F(StyledWidget, NonStringTextsAreConverted) {
  label->setAttribute(make<OQTextAttribute>(R"({"text": 42})"));
  EXPECT_EQ(label->text(), "42");
  label->setAttribute(make<OQTextAttribute>(R"({"text": null})"));
  EXPECT_EQ(label->text(), "42") << "null counts as missing";
  label->setAttribute(make<OQTextAttribute>(R"({"text": ""})"));
  EXPECT_EQ(label->text(), "") << "an empty string does not";
  button->setAttribute(make<OQButtonAttribute>(R"({"text": true})"));
  EXPECT_EQ(button->titleForState(UIControlStateNormal), "1");
}

}  // namespace
}  // namespace oq
