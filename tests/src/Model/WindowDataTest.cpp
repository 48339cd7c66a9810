// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowData.h"

#include <gtest/gtest.h>

#include <atomic>

#include "Foundation/PropertyLists/KeyedArchiver.h"
#include "src/TemporaryFolder.h"
#include "support/Python.h"
#include "support/Threads.h"

namespace oq {
namespace {

using test::json;

TEST(WindowItemAttribute, ColorsAreParsedLikeHexadecimalNumbers) {
  struct {
    const char* text;
    int red, green, blue;
  } cases[] = {
      {R"("#FF8000")", 255, 128, 0},
      {R"("ff8000")", 255, 128, 0},
      {R"("#11FF8000")", 255, 128, 0},  // the top byte of eight digits is dropped
      {R"("#F08xyz")", 0, 0x0F, 0x08},
      {R"("")", 0, 0, 0},
      {R"("##FF8000")", 0, 0, 0},
      {"123456", 0x12, 0x34, 0x56},  // the digits of a number are read as hexadecimal
      {R"("#FFFFFFFFFFFFFFFFFFFF")", 255, 255, 255},
  };
  for (const auto& c : cases) {
    UIColor expected{c.red / 255.0, c.green / 255.0, c.blue / 255.0, 1.0};
    EXPECT_EQ(colorFromHexString(json(c.text)), expected) << c.text;
  }
}

TEST(WindowItemAttribute, SizesInAnyFormAreHalved) {
  struct {
    const char* size;
    double expected;
  } cases[] = {{R"("28pd")", 14}, {"28", 14},    {R"("28")", 14}, {"28.6", 14.3}, {R"("pd2pd8")", 14},
               {R"("big")", 0},   {"true", 0.5}, {"null", 7},     {"-4", -2}};
  for (const auto& c : cases) {
    OQTextAttribute attribute;
    attribute.setSize(7);
    attribute.setModelWithDic(json(std::string(R"({"size": )") + c.size + "}"));
    EXPECT_DOUBLE_EQ(attribute.size(), c.expected) << c.size;
  }
}

TEST(WindowItemAttribute, MissingColorsKeepTheirValuesButMissingTextIsCleared) {
  OQButtonAttribute attribute;
  attribute.setModelWithDic(
      json(R"({"text": "one", "color": "#010203", "background": "#040506", "size": 4, "clickEvent": "link"})"));
  for (const char* wrong : {"null", "[]", R"("text")", "3"}) {
    attribute.setModelWithDic(json(wrong));
    EXPECT_EQ(attribute.text(), JSONValue("one")) << wrong;
    EXPECT_EQ(attribute.eventLink(), JSONValue("link")) << wrong;
  }
  attribute.setModelWithDic(json(R"({"color": null})"));
  EXPECT_TRUE(attribute.text().is_null() && attribute.eventLink().is_null());
  EXPECT_EQ(attribute.color(), colorFromHexString("#010203"));
  EXPECT_EQ(attribute.backgroundColor(), colorFromHexString("#040506"));
  EXPECT_EQ(attribute.size(), 2);
}

TEST(WindowData, ReadsConditionsOnlyFromObjectsConvertsNumbersAndKeepsOtherValues) {
  OQWindowData window;
  window.setModelWithDic(json(R"({"id": 17, "count": "3 times", "style": 2.9, "type": true, "startTime": false,
                                  "picture": ["p"], "event": {}, "preEvent": "buy"})"));
  EXPECT_EQ(window.windowId(), JSONValue(17));
  EXPECT_EQ(window.count(), 3);
  EXPECT_EQ(window.style(), 2);
  EXPECT_EQ(window.type(), 1);
  EXPECT_EQ(window.startTime(), JSONValue(false));
  EXPECT_EQ(window.picture(), json(R"(["p"])"));
  ASSERT_TRUE(window.event());
  EXPECT_TRUE(window.event()->available());
  EXPECT_FALSE(window.preEvent());
  ASSERT_TRUE(window.title() && window.content() && window.leftBtnAttribute() && window.middleBtnAttribute() &&
              window.rightBtnAttribute());
  EXPECT_FALSE(window.title()->color());
  EXPECT_TRUE(window.rightBtnAttribute()->color());

  window.setModelWithDic(json(R"(["not a dictionary"])"));
  EXPECT_EQ(window.windowId(), JSONValue(17));
  window.setModelWithDic(json("{}"));
  EXPECT_TRUE(window.windowId().is_null());
  EXPECT_EQ(window.count(), 0);
  EXPECT_FALSE(window.event());
}

/// An archive of one window as read by Python: references resolved, class names added, colours as four numbers up to
/// 255, other numbers rounded to nine decimals.
JSONValue readByOthers(const Data& archive) {
  return json(test::python(R"(
archive = plistlib.load(open(path, 'rb'))
objects = archive['$objects']
def read(thing):
    if isinstance(thing, UID): return read(objects[thing.data])
    if thing == '$null': return None
    if isinstance(thing, float): return round(thing, 9)
    if not isinstance(thing, dict): return thing
    classes = objects[thing['$class'].data]['$classes']
    if classes[0] == 'UIColor':
        return ' '.join(str(round(255 * thing['UI' + part])) for part in ('Red', 'Green', 'Blue', 'Alpha'))
    if 'NS.keys' in thing: return dict(zip(map(read, thing['NS.keys']), map(read, thing['NS.objects'])))
    if 'NS.objects' in thing: return [read(each) for each in thing['NS.objects']]
    return {'class': ' '.join(classes), **{key: read(value) for key, value in thing.items() if key != '$class'}}
print(json.dumps(read(archive['$top']['root'])[0]))
)",
                           archive));
}

TEST(WindowData, ArchiveIsReadableByOtherToolsAndRoundTrips) {
  auto window = std::make_shared<OQWindowData>();
  window->setModelWithDic(json(R"({
    "id": "w1", "count": 9007199254740993, "style": 2, "type": -1, "createTime": "a", "changeTime": "b",
    "startTime": "2026-01-01 00:00:00", "endTime": 5, "clickEvent": "link", "picture": "https://x/y.png",
    "event": {"appid": "A", "xwhat": "buy", "xwho": null, "xwhen": 1e300, "xcontext": {"b": "2", "a": "1", "n": 3}},
    "title": {"text": "标题", "color": "#FF8000", "background": "#102030", "size": 28.6},
    "content": {"text": "<p>"}, "buttonLeft": {"text": "L", "clickEvent": "left"},
    "buttonRight": {"color": "#000000"}})"));
  window->leftBtnAttribute()->setBackgroundColor(std::nullopt);
  // A missing colour stays missing. The default size is 0 because there is no screen.
  const JSONValue expected = json(R"({"class": "OQWindowData OQWindowDataModel NSObject",
    "windowId": "w1", "count": 9007199254740993, "style": 2, "type": -1, "createTime": "a", "changeTime": "b",
    "startTime": "2026-01-01 00:00:00", "endTime": 5, "eventLink": "link", "picture": "https://x/y.png",
    "event": {"class": "OQWindowEvent OQWindowDataModel NSObject", "available": true, "appid": "A", "xwho": null,
              "xwhat": "buy", "xwhen": 1e300, "xcontext": {"b": "2", "a": "1", "n": 3}}, "preEvent": null,
    "title": {"class": "OQTextAttribute OQWindowItemAttribute OQWindowDataModel NSObject", "text": "标题",
              "color": "255 128 0 255", "backgroundColor": "16 32 48 255", "size": 14.300000191},
    "content": {"class": "OQTextAttribute OQWindowItemAttribute OQWindowDataModel NSObject", "text": "<p>",
                "color": null, "backgroundColor": null, "size": 0.0},
    "leftBtnAttribute": {"class": "OQButtonAttribute OQWindowItemAttribute OQWindowDataModel NSObject", "text": "L",
                         "color": "68 68 68 255", "backgroundColor": null, "size": 0.0, "eventLink": "left"},
    "middleBtnAttribute": {"class": "OQButtonAttribute OQWindowItemAttribute OQWindowDataModel NSObject", "text": null,
                           "color": "68 68 68 255", "backgroundColor": "244 244 244 255", "size": 0.0,
                           "eventLink": null},
    "rightBtnAttribute": {"class": "OQButtonAttribute OQWindowItemAttribute OQWindowDataModel NSObject", "text": null,
                          "color": "0 0 0 255", "backgroundColor": "244 244 244 255", "size": 0.0,
                          "eventLink": null}})");
  const Data archive = KeyedArchiver::archivedDataWithRootObjects({window});
  EXPECT_EQ(readByOthers(archive), expected);
  const auto restored = KeyedUnarchiver::unarchiveArrayOf<OQWindowData>(archive);
  ASSERT_TRUE(restored && restored->size() == 1);
  EXPECT_EQ(readByOthers(KeyedArchiver::archivedDataWithRootObjects({restored->front()})), expected);
}

TEST(WindowData, PreConditionIsConsumedOnceWithManyReaders) {
  OQWindowData window;
  window.setModelWithDic(json(R"({"preEvent": {"xwhat": "open"}})"));
  std::atomic<int> consumed{0};
  test::inThreads(4, [&](int) {
    while (auto condition = window.preEvent()) {
      ASSERT_EQ(condition->xwhat(), JSONValue("open"));
      if (window.consumePreEvent(condition)) ++consumed;
    }
  });
  EXPECT_EQ(consumed, 1);
  EXPECT_FALSE(window.consumePreEvent(nullptr));
}

TEST(WindowEvent, MatchesNothingIfLastSetFromANonDictionary) {
  OQWindowEvent event;
  event.setModelWithDic(json(R"({"xwhat": "buy", "xwhen": "12.5"})"));
  EXPECT_EQ(event.toDictionary().at("xwhen"), JSONValue(12.5));
  EXPECT_TRUE(event.matches(event));
  EXPECT_FALSE(event.matches(nullptr));
  event.setModelWithDic(json("[]"));
  EXPECT_EQ(event.xwhat(), JSONValue("buy"));  // only the availability changes
  EXPECT_FALSE(event.matches(event));
}

}  // namespace
}  // namespace oq
