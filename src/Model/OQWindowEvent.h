// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Model/OQWindowDataModel.h"

namespace oq {

/// An analytics event that arrived, or the condition of a window that waits for one. Threads and failure: as for
/// OQWindowDataModel.
class OQWindowEvent : public OQWindowDataModel {
  OQ_CLASS(OQWindowEvent)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowEvent";

  /// Whether the event was filled from a dictionary. If not, matches() is always false.
  bool available() const { return _available; }
  void setAvailable(bool available) { _available = available; }
  const JSONValue& appid() const { return _appid; }
  void setAppid(const JSONValue& appid) { _appid = appid; }
  /// The event's name.
  const JSONValue& xwhat() const { return _xwhat; }
  void setXwhat(const JSONValue& xwhat) { _xwhat = xwhat; }
  double xwhen() const { return _xwhen; }
  void setXwhen(double xwhen) { _xwhen = xwhen; }
  const JSONValue& xwho() const { return _xwho; }
  void setXwho(const JSONValue& xwho) { _xwho = xwho; }
  /// The event's properties by name, unchanged.
  const JSONValue& xcontext() const { return _xcontext; }
  void setXcontext(const JSONValue& xcontext) { _xcontext = xcontext; }

  /// With a dictionary, also an empty one, the event becomes available. Any other value makes the event unavailable and
  /// changes nothing else.
  void setModelWithDic(const JSONValue& dic) override;

  /// Whether this event satisfies the condition: the same name, and equal properties in the smaller of the two contexts
  /// (the condition's if both have the same size). Allocates no memory.
  bool matches(const OQWindowEvent& condition) const;
  /// A missing condition is never satisfied.
  bool matches(const OQWindowEvent* condition) const { return condition && matches(*condition); }

  /// The event in the form sent to the server; missing values become an empty string or dictionary.
  JSONDictionary toDictionary() const;

  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder) override;

 private:
  /// Passes every field except the availability to `visit`, as OQWindowDataModel.h describes.
  template <class Event, class Visit>
  static void visitFields(Event& event, const Visit& visit);

  bool _available = false;
  JSONValue _appid;
  JSONValue _xwhat;
  double _xwhen = 0;
  JSONValue _xwho;
  JSONValue _xcontext;
};

}  // namespace oq
