// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <span>

namespace oq::test {

struct MatchingCase {
  const char* event;
  const char* condition;
  bool matches;
};

/// Pairs of event and condition, used to test every implementation of matching.
inline std::span<const MatchingCase> matchingCases() {
  static constexpr const char* buy = R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2"}})";
  static constexpr const char* mixed = R"({"xwhat": "buy", "xcontext": {"a": "1", "b": 2, "c": "3"}})";
  static const MatchingCase cases[] = {
      // The event has fewer properties than the condition: the event's properties are compared.
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "9"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"z": "1"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": 1}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "c": "3"}})", mixed, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2"}})", mixed, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": 2}})", mixed, false},
      // The event has no properties.
      {R"({"xwhat": "buy", "xcontext": {}})", buy, true},
      {R"({"xwhat": "buy"})", buy, true},
      {R"({"xwhat": "buy"})", mixed, true},
      {R"({"xwhat": "buy", "xcontext": "a"})", buy, true},
      // Both have the same number: the condition's properties are compared.
      {R"({"xwhat": "buy", "xcontext": {"b": "2", "a": "1"}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "c": "2"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": 2, "c": "3"}})", mixed, false},
      // The event has more properties: the condition's properties are compared.
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "3", "d": "x"}})", buy, false},
      {R"({"xwhat": "buy", "xcontext": {"a": "1", "b": "2", "d": 4}})", buy, true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy"})", true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy", "xcontext": {}})", true},
      {R"({"xwhat": "buy", "xcontext": {"a": "1"}})", R"({"xwhat": "buy", "xcontext": [1, 2, 3]})", true},
      // Names match if they are equal strings.
      {R"({"xwhat": "Buy", "xcontext": {"a": "1"}})", buy, false},
      {R"({"xwhat": ""})", R"({"xwhat": ""})", true},
      {R"({"xwhat": 5})", R"({"xwhat": 5})", false},
      {R"({"xwhat": null})", R"({"xwhat": null})", false},
      {R"({})", R"({})", false},
      // Values that are not strings.
      {R"({"xwhat": "buy", "xcontext": {"n": 1}})", R"({"xwhat": "buy", "xcontext": {"n": "1"}})", false},
      {R"({"xwhat": "buy", "xcontext": {"n": "1"}})", R"({"xwhat": "buy", "xcontext": {"n": 1}})", false},
      {R"({"xwhat": "buy", "xcontext": {"n": 1}})", R"({"xwhat": "buy", "xcontext": {"n": 1}})", false},
      {R"({"xwhat": "buy", "xcontext": {"n": null}})", R"({"xwhat": "buy", "xcontext": {"n": null}})", false},
      {R"({"xwhat": "buy", "xcontext": {"": ""}})", R"({"xwhat": "buy", "xcontext": {"": ""}})", true},
      // Not dictionaries.
      {R"({"xwhat": "buy"})", R"("buy")", false},
      {R"(["buy"])", R"({"xwhat": "buy"})", false},
  };
  return cases;
}

}  // namespace oq::test
