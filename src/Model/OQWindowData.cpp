// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowData.h"

#include <type_traits>
#include <utility>

#include "Model/OQWindowDataModel.h"

namespace oq {

namespace {

struct WindowFieldsFromDictionary : FieldsFromDictionary {
  using FieldsFromDictionary::operator();
  /// Conditions are kept only if the server sent a dictionary.
  void operator()(const char* key, const char* archiveKey, std::shared_ptr<OQWindowEvent>& field) const {
    FieldsFromDictionary::operator()(key, archiveKey, field);
    if (!field->available()) field = nullptr;
  }
};

}  // namespace

Class* OQWindowData::staticClass() {
  static Class* registered = registerClass("OQWindowData", OQWindowDataModel::staticClass());
  return registered;
}

std::shared_ptr<OQWindowData> OQWindowData::windowFrom(const JSONValue& record) {
  auto window = std::make_shared<OQWindowData>();
  window->setModelWithDic(record);
  return window;
}

std::shared_ptr<OQWindowEvent> OQWindowData::preEvent() const {
  std::lock_guard lock(_preEventMutex);
  return _preEvent;
}

void OQWindowData::setPreEvent(std::shared_ptr<OQWindowEvent> event) {
  // The former event is destroyed with the parameter, after the lock is released.
  std::lock_guard lock(_preEventMutex);
  _preEvent.swap(event);
}

bool OQWindowData::consumePreEvent(const std::shared_ptr<const OQWindowEvent>& expected) {
  std::shared_ptr<OQWindowEvent> consumed;
  std::lock_guard lock(_preEventMutex);
  if (!expected || _preEvent != expected) return false;
  consumed.swap(_preEvent);
  return true;
}

template <class Window, class Visit>
void OQWindowData::visitFields(Window& window, const Visit& visit) {
  visit("id", "windowId", window._windowId);
  visit("count", "count", window._count);
  visit("style", "style", window._style);
  visit("type", "type", window._type);
  visit("createTime", "createTime", window._createTime);
  visit("changeTime", "changeTime", window._changeTime);
  visit("startTime", "startTime", window._startTime);
  visit("endTime", "endTime", window._endTime);
  visit("clickEvent", "eventLink", window._eventLink);
  visit("event", "event", window._event);
  auto preEvent = window.preEvent();
  visit("preEvent", "preEvent", preEvent);
  if constexpr (!std::is_const_v<Window>) window.setPreEvent(std::move(preEvent));
  visit("picture", "picture", window._picture);
  visit("title", "title", window._title);
  visit("content", "content", window._content);
  visit("buttonLeft", "leftBtnAttribute", window._leftBtnAttribute);
  visit("buttonMiddle", "middleBtnAttribute", window._middleBtnAttribute);
  visit("buttonRight", "rightBtnAttribute", window._rightBtnAttribute);
}

void OQWindowData::setModelWithDic(const JSONValue& dic) {
  if (dic.is_object()) visitFields(*this, WindowFieldsFromDictionary{{dic}});
}

void OQWindowData::encodeWithCoder(KeyedArchiver& coder) const {
  OQWindowDataModel::encodeWithCoder(coder);
  visitFields(*this, FieldsToArchive{coder});
}

void OQWindowData::initWithCoder(const KeyedUnarchiver& coder) {
  OQWindowDataModel::initWithCoder(coder);
  visitFields(*this, FieldsFromArchive{coder});
}

}  // namespace oq
