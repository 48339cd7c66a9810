// SPDX-License-Identifier: Apache-2.0

/// Matching an event against ten thousand campaigns with the index, compared with a walk over all of them.
#include <algorithm>
#include <random>

#include "Matching/OQCampaignList.h"
#include "Measure.h"
#include "Model/OQWindowData.h"
#include "support/LinearMatch.h"

namespace {

using namespace oq;
using namespace oq::bench;
using Windows = OQCampaignList::Windows;
using Events = std::vector<std::unique_ptr<OQWindowEvent>>;

std::shared_ptr<OQWindowData> window(const JSONValue& condition, const JSONValue& preCondition = nullptr) {
  auto made = std::make_shared<OQWindowData>();
  made->setModelWithDic({{"event", condition}, {"preEvent", preCondition}});
  return made;
}

JSONValue named(const std::string& name, JSONDictionary context) {
  return {{"xwhat", name}, {"xcontext", std::move(context)}};
}

std::unique_ptr<OQWindowEvent> event(const JSONValue& info) {
  auto made = std::make_unique<OQWindowEvent>();
  made->setModelWithDic(info);
  return made;
}

/// Campaigns of a typical shop: about twenty per event name, each with zero to three properties; one in ten has a
/// pre-condition.
class TypicalMix {
 public:
  Windows windows(int count) {
    _names = std::max(1, count / 20);
    Windows made;
    for (int i = 0; i < count; ++i) {
      JSONDictionary asked;
      for (int property = i % 4; property > 0; --property) asked[key()] = value();
      made.push_back(window(named(knownName(), asked), i % 10 ? JSONValue() : named(knownName(), {{key(), value()}})));
    }
    return made;
  }
  /// Half of the events have a name without campaigns; each has five properties.
  Events events(int count) {
    Events made;
    for (int i = 0; i < count; ++i) {
      JSONDictionary context;
      while (context.size() < 5) context[key()] = value();
      made.push_back(event(named(i % 2 ? knownName() : "page_" + std::to_string(_random() % 500), context)));
    }
    return made;
  }

 private:
  std::string knownName() { return "event_" + std::to_string(_random() % static_cast<unsigned>(_names)); }
  std::string key() { return "property_" + std::to_string(_random() % 8); }
  std::string value() { return "value_" + std::to_string(_random() % 12); }

  std::mt19937 _random{20260310};
  int _names = 1;
};

double nanosecondsPerEvent(const OQCampaignList& list, const Events& events, int rounds) {
  const double seconds = ownSecondsOf([&] {
    for (int round = 0; round < rounds; ++round) {
      for (const auto& each : events) keep(list.match(*each).position);
    }
  });
  return seconds * 1e9 / static_cast<double>(events.size()) / rounds;
}

double nanosecondsOfWalk(const Windows& windows, const Events& events, std::size_t count) {
  const double seconds = ownSecondsOf([&] {
    for (std::size_t i = 0; i < count; ++i) keep(test::linearMatch(windows, *events[i]));
  });
  return seconds * 1e9 / static_cast<double>(count);
}

void typicalMix() {
  TypicalMix mix, sameMix, smallMix;
  const OQCampaignList list(mix.windows(10000));
  const Windows walked = sameMix.windows(10000);
  const OQCampaignList small(smallMix.windows(100));
  const Events events = mix.events(4000), smallEvents = smallMix.events(4000);
  std::size_t matched = 0;
  for (const auto& each : events) {
    const std::size_t position = list.match(*each).position;
    require(std::min(position, walked.size()) == test::linearMatch(walked, *each), "index and walk differ");
    matched += position < walked.size() ? 1 : 0;
  }
  const auto [fast, slow, few] = inTurns(
      9, [&] { return nanosecondsPerEvent(list, events, 20); }, [&] { return nanosecondsOfWalk(walked, events, 200); },
      [&] { return nanosecondsPerEvent(small, smallEvents, 20); });
  note("matching_events_that_match", 100.0 * static_cast<double>(matched) / static_cast<double>(events.size()), "%");
  atMost("matching_10000_campaigns_ns", median(fast), 150);
  atLeast("matching_against_linear", medianRatio(slow, fast), 200);
  note("matching_100_campaigns_ns", median(few), "ns");
}

/// All campaigns wait for the same event name, and only the last one matches.
void sharedName() {
  const auto last = [](const char* name, auto campaign, auto received) {
    const auto listOf = [&](int count) {
      Windows windows;
      for (int i = 0; i < count; ++i) windows.push_back(campaign(i));
      return OQCampaignList(std::move(windows));
    };
    const OQCampaignList few = listOf(100), many = listOf(10000);
    Events fewEvents, manyEvents;
    fewEvents.push_back(event(received(99)));
    manyEvents.push_back(event(received(9999)));
    require(few.match(*fewEvents[0]).position == 99 && many.match(*manyEvents[0]).position == 9999, name);
    const auto [small, large] = inTurns(
        9, [&] { return nanosecondsPerEvent(few, fewEvents, 20000); },
        [&] { return nanosecondsPerEvent(many, manyEvents, 20000); });
    note(std::string(name) + "_10000_ns", median(large), "ns");
    atMost(std::string(name) + "_10000_to_100", medianRatio(large, small), 2);
  };
  const auto number = [](int i) { return std::to_string(i); };
  last(
      "matching_shared_name",
      [&](int i) {
        return window(named("buy", {{"kind", "book"}, {"sku", number(i)}}));
      },
      [&](int i) {
        return named("buy", {{"kind", "book"}, {"sku", number(i)}, {"price", "5"}});
      });
  last(
      "matching_shared_name_fewer_properties",
      [&](int i) {
        return window(named("buy", {{"kind", "book"}, {"sku", number(i)}, {"price", "5"}}));
      },
      [&](int i) {
        return named("buy", {{"kind", "book"}, {"sku", number(i)}});
      });
  last(
      "matching_shared_name_waiting",
      [&](int i) {
        return window(named("buy", {}), named("buy", {{"sku", number(i)}}));
      },
      [&](int i) {
        return named("buy", {{"kind", "book"}, {"sku", number(i)}});
      });
}

/// The curve that bench/plot.py draws: the typical mix, from ten campaigns to ten thousand.
void curve() {
  for (const int count : {10, 30, 100, 300, 1000, 3000, 10000}) {
    TypicalMix mix, sameMix;
    const OQCampaignList list(mix.windows(count));
    const Windows walked = sameMix.windows(count);
    const Events events = mix.events(4000);
    const auto [indexed, linear] = inTurns(
        5, [&] { return nanosecondsPerEvent(list, events, 10); },
        [&] { return nanosecondsOfWalk(walked, events, count > 1000 ? 200 : 4000); });
    note("matching_curve_" + std::to_string(count) + "_indexed", median(indexed), "ns");
    note("matching_curve_" + std::to_string(count) + "_linear", median(linear), "ns");
  }
}

}  // namespace

int main() {
  typicalMix();
  curve();
  sharedName();
}
