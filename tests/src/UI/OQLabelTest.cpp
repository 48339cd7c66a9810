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

template <class Attribute>
std::shared_ptr<Attribute> make(const char* json) {
  auto attribute = std::make_shared<Attribute>();
  attribute->setModelWithDic(test::json(json));
  return attribute;
}

TEST(StyledWidget, AppliesSetValuesAndKeepsTheRest) {
  test::TemporaryFolder folder;
  HeadlessHost host{{.dataDirectory = folder.path()}};
  auto label = std::make_shared<OQLabel>();
  auto button = std::make_shared<OQButton>();
  auto empty = make<OQButtonAttribute>("{}");
  empty->setColor(std::nullopt);
  empty->setBackgroundColor(std::nullopt);
  empty->setSize(0);
  const char* full = R"({"text": "你好", "color": "#ff0000", "background": "#00ff00", "size": "28pd"})";
  const std::pair<std::shared_ptr<OQTextAttribute>, std::shared_ptr<OQButtonAttribute>> attributes[] = {
      {make<OQTextAttribute>(full), make<OQButtonAttribute>(full)},
      {make<OQTextAttribute>(R"({"size": -3})"), empty},
      {nullptr, nullptr}};
  for (const auto& [ofLabel, ofButton] : attributes) {
    label->setAttribute(ofLabel);
    EXPECT_EQ(label->text(), "你好");
    EXPECT_EQ(label->textColor(), UIColor::redColor());
    EXPECT_EQ(label->backgroundColor(), UIColor::greenColor());
    EXPECT_EQ(label->font(), UIFont::fontWithName("PingFangSC-Regular", 14));
    button->setAttribute(ofButton);
    EXPECT_EQ(button->titleForState(UIControlStateNormal), "你好");
    EXPECT_EQ(button->titleColorForState(UIControlStateNormal), UIColor::redColor());
    EXPECT_EQ(button->backgroundColor(), UIColor::greenColor());
    EXPECT_EQ(button->titleLabel().font(), label->font());
  }
  EXPECT_FALSE(label->attribute() || button->attribute());

  label->setAttribute(make<OQTextAttribute>(R"({"text": 42})"));
  EXPECT_EQ(label->text(), "42");
  label->setAttribute(make<OQTextAttribute>(R"({"text": ""})"));
  EXPECT_EQ(label->text(), "") << "an empty string does not count as missing";
  button->setAttribute(make<OQButtonAttribute>(R"({"text": true})"));
  EXPECT_EQ(button->titleForState(UIControlStateNormal), "1");
}

}  // namespace
}  // namespace oq
