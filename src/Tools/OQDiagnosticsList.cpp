// SPDX-License-Identifier: Apache-2.0
#include "Tools/OQDiagnosticsList.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "Foundation/Values/Date.h"
#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "UIKit/Views/UILabel.h"
#include "UIKit/Windows/MainObject.h"

namespace oq {
namespace {

// In points.
constexpr double kMargin = 16, kPadding = 14, kHeading = 38, kPair = 40, kRow = 34, kSmall = 19, kRowEnd = 3,
                 kCardRadius = 10, kListHairline = 0.5;

constexpr UIColor kInk = UIColor::colorWithRed(0.11, 0.12, 0.14, 1);
constexpr UIColor kQuiet = UIColor::colorWithRed(0.40, 0.42, 0.46, 1);
constexpr UIColor kLine = UIColor::colorWithRed(0.87, 0.88, 0.90, 1);
constexpr UIColor kGood = UIColor::colorWithRed(0.07, 0.47, 0.25, 1);
constexpr UIColor kHeld = UIColor::colorWithRed(0.70, 0.36, 0.02, 1);

std::string textOr(const JSONValue& value, const char* nothing) {
  return value.is_null() ? nothing : descriptionOf(value);
}

std::string environmentText(const JSONValue& environment) {
  const std::int64_t number = integerValue(environment);
  const char* names[] = {"production", "test", "development"};
  if (number < 0 || number > 2) return "unknown (" + descriptionOf(environment) + ")";
  return std::string(names[number]) + " (" + std::to_string(number) + ")";
}

std::string timeText(const JSONValue& milliseconds) {
  return DateFormatter("HH:mm:ss").stringFromDate(dateFromSecondsSince1970(doubleValue(milliseconds) / 1000));
}

UIColor colorOf(const std::string& outcome) {
  if (outcome == "counted and handed to the screen") return kGood;
  return outcome == "no match" || outcome == "waiting" ? kQuiet : kHeld;
}

/// A row of a group: a line with an optional text on the right, and smaller lines below it.
struct Row {
  std::string text, right;
  std::vector<std::string> below;
  UIColor rightColor = kQuiet, belowColor = kQuiet;
  bool isBold = true;
};

class Column {
 public:
  explicit Column(double width) : _width(width) {}

  void addGroup(const std::string& heading, const std::vector<Row>& rows) {
    addLabel(*_view, heading, UIFont::boldSystemFontOfSize(13), kQuiet,
             {{kMargin + kPadding, _bottom}, {_width - 2 * (kMargin + kPadding), kHeading}});
    _bottom += kHeading;
    auto group = makeMainObject<UIView>();
    group->setBackgroundColor(UIColor::whiteColor());
    group->layer().setCornerRadius(kCardRadius);
    double bottom = 0;
    for (const Row& row : rows) {
      if (bottom > 0) addLine(*group, bottom);
      bottom += addRow(*group, row, bottom);
    }
    group->setFrame(CGRectMake(kMargin, _bottom, inside(), bottom));
    _view->addSubview(group);
    _bottom += bottom + 8;
  }

  std::shared_ptr<UIView> view() {
    _view->setFrame(CGRectMake(0, 0, _width, _bottom + kMargin));
    return _view;
  }

 private:
  double inside() const { return _width - 2 * kMargin; }

  static void addLabel(UIView& parent, const std::string& text, const UIFont& font, UIColor color, CGRect frame,
                       NSTextAlignment alignment = NSTextAlignment::Left) {
    auto label = makeMainObject<UILabel>();
    label->setFrame(frame);
    label->setFont(font);
    label->setTextColor(color);
    label->setText(text);
    label->setTextAlignment(alignment);
    parent.addSubview(label);
  }

  void addLine(UIView& group, double top) const {
    auto line = makeMainObject<UIView>(CGRectMake(kPadding, top, inside() - kPadding, kListHairline));
    line->setBackgroundColor(kLine);
    group.addSubview(line);
  }

  /// Returns the height of the row.
  double addRow(UIView& group, const Row& row, double top) const {
    const double room = std::max(0.0, inside() - 2 * kPadding), line = row.below.empty() ? kPair : kRow;
    const auto font = UIFont::systemFontOfSize(15);
    const double needed = row.right.empty() ? 0 : std::ceil(boundingSizeOfText({row.right, {}}, font, 0).width) + 2;
    const double right = std::min(needed, room * 0.66);
    addLabel(group, row.text, row.isBold ? UIFont::boldSystemFontOfSize(15) : font, kInk,
             {{kPadding, top}, {std::max(0.0, room - right - (right > 0 ? 10 : 0)), line}});
    addLabel(group, row.right, font, row.rightColor, {{kPadding + room - right, top}, {right, line}},
             NSTextAlignment::Right);
    double bottom = top + line - kRowEnd;
    for (const std::string& text : row.below) {
      addLabel(group, text, UIFont::systemFontOfSize(13), row.belowColor, {{kPadding, bottom}, {room, kSmall}});
      bottom += kSmall;
    }
    return row.below.empty() ? line : bottom - top + 2 * kRowEnd;
  }

  const double _width;
  double _bottom = 0;
  std::shared_ptr<UIView> _view = makeMainObject<UIView>();
};

Row pair(const char* name, std::string value) {
  return {name, std::move(value), {}, kInk, kQuiet, false};
}

std::vector<Row> stateRows(const JSONDictionary& state) {
  return {pair("Environment", environmentText(state.at("environment"))),
          pair("Session", state.at("isLoggedIn").as_bool() ? "logged in" : "no token"),
          pair("User id", textOr(state.at("userId"), "none yet")),
          pair("App id", textOr(state.at("appId"), "none yet")),
          pair("Page", textOr(state.at("pageName"), "none yet")),
          pair("Waiting events", descriptionOf(state.at("waitingEvents")))};
}

Row windowRow(const JSONDictionary& window) {
  const std::int64_t used = integerValue(window.at("usedCount")), count = integerValue(window.at("count"));
  std::string condition = "on " + textOr(window.at("event"), "no event");
  if (!window.at("preEvent").is_null()) condition += ", after " + descriptionOf(window.at("preEvent"));
  Row row{"Window " + textOr(window.at("windowId"), "without id"),
          "shown " + std::to_string(used) + " of " + std::to_string(count),
          {std::move(condition)},
          used < count ? kGood : kHeld};
  const JSONValue &start = window.at("startTime"), &end = window.at("endTime");
  if (!start.is_null() || !end.is_null()) row.below.push_back(textOr(start, "…") + " – " + textOr(end, "…"));
  return row;
}

Row subscriptionRow(const JSONDictionary& subscription) {
  return {"Subscription " + textOr(subscription.at("windowId"), "without id"),
          "",
          {"on " + textOr(subscription.at("event"), "no event")}};
}

Row decisionRow(const JSONDictionary& decision) {
  const std::string outcome = descriptionOf(decision.at("outcome"));
  const std::string event = textOr(decision.at("event"), "no event");
  const JSONValue& windowId = decision.at("windowId");
  return {windowId.is_null() ? event : "Window " + descriptionOf(windowId) + " on " + event,
          timeText(decision.at("time")),
          {outcome},
          kQuiet,
          colorOf(outcome)};
}

/// One row per record, or a single row with the text `nothing` if there are no records.
std::vector<Row> rowsOf(const JSONArray& records, Row (*rowOf)(const JSONDictionary&), const char* nothing) {
  std::vector<Row> rows;
  for (const JSONValue& record : records) rows.push_back(rowOf(record.as_object()));
  if (rows.empty()) rows.push_back({nothing, "", {}, kQuiet, kQuiet, false});
  return rows;
}

std::string counted(const char* name, const JSONArray& records) {
  return std::string(name) + " (" + std::to_string(records.size()) + ")";
}

}  // namespace

std::shared_ptr<UIView> makeDiagnosticsList(const JSONValue& diagnostics, double width) {
  const JSONDictionary& state = diagnostics.as_object();
  const JSONArray& windows = state.at("windows").as_array();
  const JSONArray& subscriptions = state.at("subscriptions").as_array();
  JSONArray decisions = state.at("decisions").as_array();
  std::reverse(decisions.begin(), decisions.end());
  Column column(width);
  column.addGroup("Now", stateRows(state));
  column.addGroup(counted("In-app windows", windows), rowsOf(windows, windowRow, "The list is empty"));
  column.addGroup(counted("Subscriptions", subscriptions), rowsOf(subscriptions, subscriptionRow, "The list is empty"));
  column.addGroup(counted("Last decisions", decisions), rowsOf(decisions, decisionRow, "No event has come yet"));
  return column.view();
}

}  // namespace oq
