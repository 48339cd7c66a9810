// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "Model/OQWindowDataModel.h"
#include "Model/OQWindowEvent.h"
#include "Model/OQWindowItemAttribute.h"

namespace oq {

/// One campaign: a window with its texts and buttons, how often and when it may be shown, and the events that trigger
/// it. Values that should be strings are kept as the server sent them, even if they have another type.
///
/// Threads: filled by one thread, then read by any. Only the pre-condition changes later: it is removed once it has
/// been satisfied, which is safe while other threads read. Parts held by pointers are shared, never copied.
class OQWindowData : public OQWindowDataModel {
  OQ_CLASS(OQWindowData)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowData";

  /// Creates a window from its description in the server's JSON.
  static std::shared_ptr<OQWindowData> windowFrom(const JSONValue& record);

  const JSONValue& windowId() const { return _windowId; }
  void setWindowId(const JSONValue& windowId) { _windowId = windowId; }
  /// How often the window may be shown.
  std::int64_t count() const { return _count; }
  void setCount(std::int64_t count) { _count = count; }
  /// 1 picture, 2 picture and text, 3 text, 4 HTML; other values show nothing.
  std::int64_t style() const { return _style; }
  void setStyle(std::int64_t style) { _style = style; }
  /// Stored, but not used.
  std::int64_t type() const { return _type; }
  void setType(std::int64_t type) { _type = type; }
  const JSONValue& createTime() const { return _createTime; }
  void setCreateTime(const JSONValue& time) { _createTime = time; }
  const JSONValue& changeTime() const { return _changeTime; }
  void setChangeTime(const JSONValue& time) { _changeTime = time; }
  const JSONValue& startTime() const { return _startTime; }
  void setStartTime(const JSONValue& time) { _startTime = time; }
  const JSONValue& endTime() const { return _endTime; }
  void setEndTime(const JSONValue& time) { _endTime = time; }
  /// The link that a click on the picture opens.
  const JSONValue& eventLink() const { return _eventLink; }
  void setEventLink(const JSONValue& link) { _eventLink = link; }
  /// The condition; nullptr if the server sent none.
  const std::shared_ptr<OQWindowEvent>& event() const { return _event; }
  void setEvent(std::shared_ptr<OQWindowEvent> event) { _event = std::move(event); }
  /// The pre-condition, which must be satisfied before the condition, or by the same event. nullptr if there is none,
  /// or if it was satisfied. Thread-safe.
  std::shared_ptr<OQWindowEvent> preEvent() const;
  void setPreEvent(std::shared_ptr<OQWindowEvent> event);
  /// Removes the pre-condition if it is still the expected one. Returns true only to the caller that removed it.
  bool consumePreEvent(const std::shared_ptr<const OQWindowEvent>& expected);
  /// The picture's address.
  const JSONValue& picture() const { return _picture; }
  void setPicture(const JSONValue& picture) { _picture = picture; }
  const std::shared_ptr<OQTextAttribute>& title() const { return _title; }
  void setTitle(std::shared_ptr<OQTextAttribute> title) { _title = std::move(title); }
  /// The body text, or the HTML of style 4.
  const std::shared_ptr<OQTextAttribute>& content() const { return _content; }
  void setContent(std::shared_ptr<OQTextAttribute> content) { _content = std::move(content); }
  const std::shared_ptr<OQButtonAttribute>& leftBtnAttribute() const { return _leftBtnAttribute; }
  void setLeftBtnAttribute(std::shared_ptr<OQButtonAttribute> button) { _leftBtnAttribute = std::move(button); }
  const std::shared_ptr<OQButtonAttribute>& middleBtnAttribute() const { return _middleBtnAttribute; }
  void setMiddleBtnAttribute(std::shared_ptr<OQButtonAttribute> button) { _middleBtnAttribute = std::move(button); }
  const std::shared_ptr<OQButtonAttribute>& rightBtnAttribute() const { return _rightBtnAttribute; }
  void setRightBtnAttribute(std::shared_ptr<OQButtonAttribute> button) { _rightBtnAttribute = std::move(button); }

  /// Texts and buttons are always created, even if the server sent none; conditions only if it sent a dictionary.
  void setModelWithDic(const JSONValue& dic) override;
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder) override;

 private:
  /// Passes every field to `visit`, as OQWindowDataModel.h describes.
  template <class Window, class Visit>
  static void visitFields(Window& window, const Visit& visit);

  JSONValue _windowId;
  std::int64_t _count = 0;
  std::int64_t _style = 0;
  std::int64_t _type = 0;
  JSONValue _createTime;
  JSONValue _changeTime;
  JSONValue _startTime;
  JSONValue _endTime;
  JSONValue _eventLink;
  std::shared_ptr<OQWindowEvent> _event;
  mutable std::mutex _preEventMutex;
  std::shared_ptr<OQWindowEvent> _preEvent;
  JSONValue _picture;
  std::shared_ptr<OQTextAttribute> _title;
  std::shared_ptr<OQTextAttribute> _content;
  std::shared_ptr<OQButtonAttribute> _leftBtnAttribute;
  std::shared_ptr<OQButtonAttribute> _middleBtnAttribute;
  std::shared_ptr<OQButtonAttribute> _rightBtnAttribute;
};

}  // namespace oq
