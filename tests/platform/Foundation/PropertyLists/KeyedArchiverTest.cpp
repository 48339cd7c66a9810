// SPDX-License-Identifier: Apache-2.0
#include "Foundation/PropertyLists/KeyedArchiver.h"

#include <gtest/gtest.h>

#include <boost/json/serialize.hpp>
#include <limits>

#include "Judges.h"

using namespace oq;
using namespace oq::test;

namespace {

struct Item : SecureCoding {
  static constexpr const char* ArchivedClassName = "OQItem";
  JSONValue text;
  std::int64_t count = 0;
  bool flag = false;
  float size = 0;
  double when = 0;
  std::optional<UIColor> color;
  std::shared_ptr<Item> child;

  std::string archivedClassName() const override { return ArchivedClassName; }
  std::vector<std::string> archivedSuperclassNames() const override { return {"OQBase", "NSObject"}; }
  void encodeWithCoder(KeyedArchiver& coder) const override {
    coder.encodeObject(text, "text");
    coder.encodeInteger(count, "count");
    coder.encodeBool(flag, "flag");
    coder.encodeFloat(size, "size");
    coder.encodeDouble(when, "when");
    coder.encodeObject(color, "color");
    coder.encodeObject(std::shared_ptr<const SecureCoding>(child), "child");
  }
  void initWithCoder(const KeyedUnarchiver& coder) {
    text = coder.decodeValue("text");
    count = coder.decodeInteger("count");
    flag = coder.decodeBool("flag");
    size = coder.decodeFloat("size");
    when = coder.decodeDouble("when");
    color = coder.decodeColor("color");
    child = coder.decodeObjectOf<Item>("child");
  }
};

using Items = std::vector<std::shared_ptr<Item>>;

Data archived(const Items& items) {
  return KeyedArchiver::archivedDataWithRootObjects({items.begin(), items.end()});
}
std::optional<Items> unarchived(const Data& data) {
  return KeyedUnarchiver::unarchiveArrayOf<Item>(data);
}

std::shared_ptr<Item> itemWith(JSONValue text) {
  auto item = std::make_shared<Item>();
  item->text = std::move(text);
  return item;
}

/// Reads an archive written by Python. Adds our checksum, so that only the contents decide whether it is accepted.
std::optional<Items> unarchivedFromPython(const std::string& objects, const std::string& top = "{'root': UID(1)}",
                                          const std::string& archiver = "NSKeyedArchiver") {
  auto table = plist::read(plistFromPython("{'$version': 100000, '$archiver': '" + archiver + "', '$top': " + top +
                                           ", '$objects': ['$null', " + objects + "]}"));
  EXPECT_TRUE(table) << "Python wrote nothing";
  return table ? unarchived(plist::writeSealed(*std::move(table))) : std::nullopt;
}

const std::string kArrayAndItemClass =
    "{'$class': UID(2), 'NS.objects': [UID(4)]}, {'$classname': 'NSArray', '$classes': ['NSArray', "
    "'NSObject']}, "
    "{'$classname': 'OQItem', '$classes': ['OQItem', 'NSObject']}, ";

}  // namespace

TEST(KeyedArchiver, AllKindsOfValuesRoundTrip) {
  const JSONValue values[] = {// numbers
                              nullptr, true, false, 0, 1, -1, 300, std::numeric_limits<std::int64_t>::min(),
                              std::uint64_t{18446744073709551615u}, 1.0, 0.1, -0.0,
                              // strings
                              "", "$null", "text é😀", "NSArray",
                              // containers
                              JSONArray{}, JSONDictionary{},
                              JSONArray{1, 1.0, true, "1", nullptr, JSONArray{}, JSONDictionary{}},
                              JSONDictionary{{"b", JSONArray{1, 2}}, {"a", JSONDictionary{{"b", nullptr}}}}};
  Items items;
  for (const auto& value : values) items.push_back(itemWith(value));
  auto back = unarchived(archived(items));
  ASSERT_TRUE(back && back->size() == items.size());
  for (std::size_t i = 0; i < items.size(); ++i) {
    EXPECT_EQ((*back)[i]->text.kind(), values[i].kind()) << i;
    EXPECT_EQ(serialize((*back)[i]->text), serialize(values[i])) << i;
  }
}

TEST(KeyedArchiver, OtherToolsReadArchivesInTheStandardLayout) {
  auto item = itemWith(JSONDictionary{{"k", "shared"}});
  Data data = archived({item, itemWith("shared"), item});
  EXPECT_EQ(python(R"(a = plistlib.load(open(path, 'rb'))
o = a['$objects']
at = lambda uid: o[uid.data]
print(a['$version'], a['$archiver'], o[0], list(a['$top']), a['OQChecksum'][:7])
root = at(a['$top']['root'])
print(at(root['$class'])['$classes'], len(root['NS.objects']), root['NS.objects'][0] == root['NS.objects'][2])
print(o.count('shared'))
)",
                   data),
            "100000 NSKeyedArchiver $null ['root'] b'OQcrc32'\n"
            "['NSMutableArray', 'NSArray', 'NSObject'] 3 True\n"
            "1\n");
}

TEST(KeyedArchiver, FieldsWrittenByOtherToolsAreReadOnlyIfTheirTypeFits) {
  auto items =
      unarchivedFromPython(kArrayAndItemClass +
                           "{'$class': UID(3), 'text': UID(5), 'count': 2**40, 'flag': True, "
                           "'size': 2.5, 'color': UID(6)}, 'é', {'$class': UID(7), 'UIRed': 1.0, 'UIGreen': 0.5, "
                           "'UIBlue': 0.0, 'UIAlpha': 1.0}, {'$classname': 'UIColor', '$classes': []}");
  ASSERT_TRUE(items && items->size() == 1u);
  const Item item = *items->front();
  EXPECT_EQ(item.text, JSONValue("é"));
  EXPECT_EQ(item.count, std::int64_t{1} << 40);
  EXPECT_TRUE(item.flag);
  EXPECT_EQ(item.size, 2.5f);
  EXPECT_EQ(item.color, (UIColor{1, 0.5, 0, 1}));

  items = unarchivedFromPython(kArrayAndItemClass +
                               "{'$class': UID(3), 'text': 'bare', 'count': 2.5, 'flag': 1, 'size': 3, 'when': True, "
                               "'color': UID(4), 'child': UID(2)}");
  ASSERT_TRUE(items && items->size() == 1u);
  const Item wrong = *items->front();
  EXPECT_TRUE(wrong.text.is_null());
  EXPECT_EQ(std::tuple(wrong.count, wrong.flag, wrong.size, wrong.when), std::tuple(0, false, 0.0f, 0.0));
  EXPECT_FALSE(wrong.color || wrong.child);
}

TEST(KeyedArchiver, ArchivesWithAnotherRootClassOrArchiverAreRejected) {
  const std::string item = kArrayAndItemClass + "{'$class': UID(3)}";
  ASSERT_TRUE(unarchivedFromPython(item));
  for (const char* top : {"{'root': UID(4)}", "{'root': UID(99)}", "{'root': UID(2**63)}", "{'root': 1}", "{}"})
    EXPECT_FALSE(unarchivedFromPython(item, top)) << top;
  EXPECT_FALSE(unarchivedFromPython(item, "{'root': UID(1)}", "SomeArchiver"));
  EXPECT_FALSE(unarchivedFromPython(kArrayAndItemClass + "{'$class': UID(2)}")) << "another class in the array";
  EXPECT_FALSE(unarchivedFromPython(kArrayAndItemClass + "'text'"));
  EXPECT_FALSE(unarchived(plist::write(*plist::read(archived({itemWith("x")}))))->empty()) << "the seal is still valid";
  EXPECT_FALSE(unarchived(plistFromPython("{'$objects': []}")));
  EXPECT_FALSE(unarchived({}));
}

TEST(KeyedArchiver, RejectsCyclesAndExcessiveExpansion) {
  const std::string item = "{'$class': UID(3), 'text': UID(5)}, ", list = "{'$class': UID(2), 'NS.objects': ";
  const std::pair<const char*, std::string> cases[] = {
      {"cycle", item + list + "[UID(5)]}"},
      {"cycle of many", item + list + "[UID(5)] * 1000}"},
      {"its own child", "{'$class': UID(3), 'child': UID(4)}"},
      {"10^30 strings", item + "*[" + list + "[UID(6 + i)] * 10} for i in range(30)], 'end'"},
      {"9 MB of text from 9 KB", item + list + "[UID(6)] * 3000}, 'x' * 3000"},
      {"2.5 GB of text", item + list + "[UID(6)] * 50000}, 'x' * 50000"},
      {"a wide object named often", item + list + "[UID(6)] * 60000}, {str(i): 1 for i in range(60000)}"},
  };
  for (const auto& [what, objects] : cases) EXPECT_FALSE(unarchivedFromPython(kArrayAndItemClass + objects)) << what;
  // 100,000 references to the same object.
  EXPECT_FALSE(unarchivedFromPython(
      "{'$class': UID(2), 'NS.objects': [UID(4)] * 100000}, {'$classname': 'NSArray', '$classes': []}, "
      "{'$classname': 'OQItem', '$classes': []}, {'$class': UID(3)}"));
}

TEST(KeyedArchiver, WrittenArchivesStayWithinTheReadersBudget) {
  // Lists that refer to the same values as often as possible.
  const auto repeated = [](const JSONValue& value) { return JSONArray(50'000, value); };
  const std::string url(2000, 'u');
  JSONArray manyNumbers;
  Items manyItems;
  for (int i = 0; i < 20'000; ++i) manyItems.push_back(itemWith(nullptr));
  for (int i = 0; i < 1000; ++i) manyNumbers.emplace_back(i);
  const struct {
    Items list;
    std::size_t textBytes;  ///< size of all decoded strings; 0 if they are far below the reader's budget
  } cases[] = {{{itemWith(repeated(JSONValue(url)))}, 50'000 * url.size()},
               {{itemWith(repeated("short text, often"))}, 0},
               {{itemWith(repeated(1))}, 0},
               {manyItems, 0},
               {{itemWith(manyNumbers), itemWith(repeated(JSONValue(std::string(300, 't'))))}, 50'000 * 300}};
  for (const auto& [list, textBytes] : cases) {
    const Data data = archived(list);
    const auto back = unarchived(data);
    ASSERT_TRUE(back && back->size() == list.size()) << textBytes;
    EXPECT_EQ(back->back()->text, list.back()->text);
    EXPECT_LT(textBytes, 32 * data.size());
    EXPECT_TRUE(textBytes == 0 || 8 * data.size() < textBytes) << "strings are still shared";
  }
}

TEST(KeyedArchiver, DepthHasOneLimitForWritingAndReading) {
  auto nested = [](int depth) {
    JSONValue value = "core";
    for (int i = 0; i < depth; ++i)
      value = i % 2 ? JSONValue(JSONArray{value}) : JSONValue(JSONDictionary{{"k", value}});
    return value;
  };
  auto back = unarchived(archived({itemWith(nested(512)), itemWith(nested(3000))}));
  ASSERT_TRUE(back);
  EXPECT_EQ(serialize((*back)[0]->text), serialize(nested(512)));
  EXPECT_NE(serialize((*back)[1]->text).find("null"), std::string::npos);
}

TEST(KeyedArchiver, TemporaryObjectsAreArchivedSeparatelyEvenAtTheSameAddress) {
  struct Maker : SecureCoding {
    std::string archivedClassName() const override { return Item::ArchivedClassName; }
    void encodeWithCoder(KeyedArchiver& coder) const override {
      coder.encodeObject(std::shared_ptr<const SecureCoding>(itemWith("first")), "other");
      coder.encodeObject(std::shared_ptr<const SecureCoding>(itemWith("second")), "child");
    }
  };
  auto back = unarchived(KeyedArchiver::archivedDataWithRootObjects({std::make_shared<Maker>()}));
  ASSERT_TRUE(back && back->front()->child);
  EXPECT_EQ(back->front()->child->text, JSONValue("second"));
}

TEST(KeyedArchiver, DamagedArchiveIsRejected) {
  const Data data = archived({itemWith("some text"), itemWith(JSONArray{1, 2})});
  ASSERT_TRUE(unarchived(data));
  for (std::size_t bit = 0; bit < 8 * data.size(); ++bit) {
    Data flipped = data;
    flipped[bit / 8] ^= static_cast<std::uint8_t>(1 << bit % 8);
    ASSERT_FALSE(unarchived(flipped)) << "bit " << bit;
    ASSERT_FALSE(unarchived(Data(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(bit / 8)))) << bit / 8;
  }
  Data longer = data;
  longer.push_back(0);
  EXPECT_FALSE(unarchived(longer));
  EXPECT_TRUE(plist::writeSealed({{std::string("no dictionary")}, 0}).empty());
}
