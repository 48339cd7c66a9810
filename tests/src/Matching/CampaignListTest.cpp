// SPDX-License-Identifier: Apache-2.0
#include "Matching/OQCampaignList.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "Model/OQWindowData.h"
#include "src/TemporaryFolder.h"
#include "support/LinearMatch.h"

namespace oq::test {
namespace {

using Windows = OQCampaignList::Windows;

std::shared_ptr<OQWindowData> window(const JSONValue& event, const JSONValue& preEvent = nullptr) {
  auto made = std::make_shared<OQWindowData>();
  made->setModelWithDic({{"event", event}, {"preEvent", preEvent}});
  return made;
}

OQWindowEvent& fill(OQWindowEvent& event, const JSONValue& info) {
  event.setModelWithDic(info);
  return event;
}

/// The same result format as linearMatch().
std::size_t indexMatch(const OQCampaignList& list, const OQWindowEvent& event) {
  return std::min(list.match(event).position, list.windows().size());
}

struct MatchingCase {
  const char* event;
  const char* condition;
  bool matches;
};

constexpr const char* kBuy = R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2"}})";
constexpr const char* kMixed = R"({"xwhat": "buy", "xcontext": {"a": "1", "b": 2, "c": "3"}})";
const MatchingCase kMatchingCases[] = {
    // The event has fewer properties than the condition: the event's properties are compared.
    {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", kBuy, true},
    {R"({"xwhat": "buy", "xcontext": {"a": "9"}})", kBuy, false},
    {R"({"xwhat": "buy", "xcontext": {"z": "1"}})", kBuy, false},
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "c": "3"}})", kMixed, true},
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2"}})", kMixed, false},
    // The event has no properties.
    {R"({"xwhat": "buy", "xcontext": {}})", kBuy, true},
    {R"({"xwhat": "buy"})", kBuy, true},
    // Both have the same number: the condition's properties are compared.
    {R"({"xwhat": "buy", "xcontext": {"b": "2", "a": "1"}})", kBuy, true},
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "c": "2"}})", kBuy, false},
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": 2, "c": "3"}})", kMixed, false},
    // The event has more properties: the condition's properties are compared.
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "3", "d": "x"}})", kBuy, false},
    {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2", "d": 4}})", kBuy, true},
    {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy"})", true},
    {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy", "xcontext": [1, 2, 3]})", true},
    // Names match if they are equal strings.
    {R"({"xwhat": "Buy", "xcontext": {"a": "1"}})", kBuy, false},
    {R"({"xwhat": ""})", R"({"xwhat": ""})", true},
    {R"({"xwhat": 5})", R"({"xwhat": 5})", false},
    // Values that are not strings never match; empty strings do.
    {R"({"xwhat": "buy", "xcontext": {"n": "1"}})", R"({"xwhat": "buy", "xcontext": {"n": 1}})", false},
    {R"({"xwhat": "buy", "xcontext": {"n": 1}})", R"({"xwhat": "buy", "xcontext": {"n": 1}})", false},
    {R"({"xwhat": "buy", "xcontext": {"n": null}})", R"({"xwhat": "buy", "xcontext": {"n": null}})", false},
    {R"({"xwhat": "buy", "xcontext": {"": ""}})", R"({"xwhat": "buy", "xcontext": {"": ""}})", true},
    // Conditions and events that are not dictionaries never match.
    {R"({"xwhat": "buy"})", R"("buy")", false},
    {R"(["buy"])", R"({"xwhat": "buy"})", false},
};

TEST(CampaignList, ComparesTheNameAndThePropertiesOfWhicheverSideHasFewer) {
  for (const auto& each : kMatchingCases) {
    OQWindowEvent event;
    fill(event, json(each.event));
    const std::string text = std::string(each.event) + " against " + each.condition;
    // Tests the condition alone, after other conditions with the same name, and as a pre-condition.
    const Windows alone = {window(json(each.condition))};
    const Windows others = {window(json(R"({"xwhat": "buy", "xcontext": {"a": "1", "q": "1"}})")),
                            window(json(R"({"xwhat": "buy", "xcontext": {"z": "7"}})")), alone[0]};
    EXPECT_EQ(indexMatch(OQCampaignList(alone), event), each.matches ? 0u : 1u) << text;
    EXPECT_EQ(linearMatch(alone, event), each.matches ? 0u : 1u) << text;
    EXPECT_EQ(indexMatch(OQCampaignList(others), event), linearMatch(others, event)) << text;
    const auto waiting = window(json(R"({"xwhat": "other"})"), json(each.condition));
    const bool heeded = waiting->preEvent() != nullptr;
    EXPECT_EQ(indexMatch(OQCampaignList({waiting}), event), 1u) << text;
    EXPECT_EQ(waiting->preEvent() == nullptr, each.matches || !heeded) << text;
  }
}

/// Generates campaigns and events from few names, keys and values, so that they often match, tie and overlap.
class RandomWorld {
 public:
  explicit RandomWorld(unsigned seed) : _random(seed) {}

  int pick(int most) { return static_cast<int>(_random() % static_cast<unsigned>(most)); }
  JSONValue context(int most) {
    if (pick(12) == 0) return nullptr;
    JSONDictionary properties;
    for (int i = pick(most + 1); i > 0; --i) {
      JSONValue& value = properties["k" + std::to_string(pick(7))];
      value = pick(15) == 0 ? JSONValue(pick(2)) : JSONValue(std::to_string(pick(3) / 2));
    }
    return properties;
  }
  JSONValue condition(int names, int most) {
    const int kind = pick(30);
    if (kind == 0) return nullptr;
    if (kind == 1) return {{"xwhat", pick(3)}};
    return {{"xwhat", "e" + std::to_string(pick(names))}, {"xcontext", context(most)}};
  }
  Windows windows(int count, int names) {
    Windows made;
    for (; count > 0; --count) {
      made.push_back(window(condition(names, 6), pick(4) == 0 ? condition(names, 3) : nullptr));
    }
    return made;
  }

 private:
  std::mt19937 _random;
};

Windows copyOf(const Windows& windows) {
  Windows copies;
  for (const auto& each : windows) {
    copies.push_back(std::make_shared<OQWindowData>());
    copies.back()->setEvent(each->event());
    copies.back()->setPreEvent(each->preEvent());
  }
  return copies;
}

TEST(CampaignList, AgreesWithALinearSearch) {
  constexpr int rounds = 2000;
  constexpr int eventsPerRound = 60;
  int matched = 0;
  RandomWorld world(20260310);
  for (int round = 0; round < rounds; ++round) {
    const int names = 1 + world.pick(6);
    const Windows windows = world.windows(world.pick(round % 50 == 0 ? 700 : 40), names);
    const Windows copies = copyOf(windows);
    const OQCampaignList list(windows);
    for (int i = 0; i < eventsPerRound; ++i) {
      OQWindowEvent event;
      const JSONValue info = world.condition(names + 1, 6);
      fill(event, info);
      const std::size_t expected = linearMatch(copies, event);
      ASSERT_EQ(indexMatch(list, event), expected) << "round " << round << ", event " << info;
      matched += expected < copies.size() ? 1 : 0;
    }
    for (std::size_t i = 0; i < windows.size(); ++i) {
      ASSERT_EQ(windows[i]->preEvent(), copies[i]->preEvent()) << "round " << round << ", window " << i;
    }
  }
  EXPECT_GE(matched, rounds * eventsPerRound * 3 / 10);
}

/// For conditions with more than 63 properties, the index no longer distinguishes sizes, and has fewer bits than
/// properties.
TEST(CampaignList, AgreesWithALinearSearchForLargeConditions) {
  const auto large = [](int size, int odd) {
    JSONDictionary context;
    for (int i = 0; i < size; ++i) context["key " + std::to_string(i)] = i == odd ? "another" : "value";
    return JSONValue{{"xwhat", "buy"}, {"xcontext", std::move(context)}};
  };
  const int sizes[] = {1, 31, 62, 63, 64, 65, 70};
  for (const int asked : sizes) {
    for (const int odd : {-1, 0, 61, 63}) {
      const Windows windows = {window(large(asked, odd))};
      for (const int size : sizes) {
        OQWindowEvent event;
        fill(event, large(size, -1));
        ASSERT_EQ(indexMatch(OQCampaignList(windows), event), linearMatch(windows, event))
            << size << " properties, " << asked << " in the condition, odd " << odd;
      }
    }
  }
}

TEST(CampaignList, ReportsSomeWindowsThatMatchedButWereNotChosen) {
  const JSONValue buy = {{"xwhat", "buy"}}, pay = {{"xwhat", "pay"}};
  const Windows windows = {window(buy, pay), window(pay), window(buy), window(buy, pay), window(buy)};
  OQWindowEvent event;
  const OQCampaignMatch match = OQCampaignList(windows).match(fill(event, buy));
  EXPECT_EQ(match.position, 2u);
  ASSERT_EQ(match.passedOverCount, 2u);
  for (std::size_t i : {0, 1}) {
    EXPECT_EQ(match.passedOver[i].position, 4 * i);
    EXPECT_EQ(match.passedOver[i].isWaiting, i == 0);
  }

  // Subscriptions ignore pre-conditions, so they do not wait.
  const OQCampaignList subscriptions({windows[0]}, OQCampaignList::PreConditions::Ignored);
  EXPECT_EQ(subscriptions.match(event).position, 0u);
  subscriptions.match(fill(event, pay));
  EXPECT_NE(windows[0]->preEvent(), nullptr);
}

/// Two threads match the same event. Both must find the window, even if the other thread is just removing its
/// pre-condition. Many properties make the removal take longer.
TEST(CampaignList, WindowIsFoundWhileItsPreConditionIsRemoved) {
  JSONDictionary context;
  for (int i = 0; i < 60; ++i) context["k" + std::to_string(i)] = "v";
  const JSONValue both = {{"xwhat", "buy"}, {"xcontext", context}};
  OQWindowEvent event;
  fill(event, both);
  for (int round = 0; round < 2000; ++round) {
    const Windows windows = {window({{"xwhat", "never"}}, both), window(both, both)};
    const OQCampaignList list(windows);
    std::atomic<int> ready{0};
    const auto matchOnce = [&] {
      for (++ready; ready < 2;) {
      }
      EXPECT_EQ(list.match(event).position, 1u);
    };
    std::thread other(matchOnce);
    matchOnce();
    other.join();
    for (const auto& each : windows) EXPECT_EQ(each->preEvent(), nullptr);
  }
}

}  // namespace
}  // namespace oq::test
