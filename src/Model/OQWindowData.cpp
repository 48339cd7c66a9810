#include "Model/OQWindowData.h"

#include <utility>

#include "Foundation/Number.h"

namespace oq {

namespace {

std::shared_ptr<OQWindowEvent> conditionFrom(const Value& dic) {
  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(dic);
  return event->available() ? event : nullptr;
}

template <class Attribute>
std::shared_ptr<Attribute> attributeFrom(const Value& dic) {
  auto attribute = std::make_shared<Attribute>();
  attribute->setModelWithDic(dic);
  return attribute;
}

}  // namespace

Class* OQWindowData::staticClass() {
  static Class* registered = registerClass("OQWindowData", OQWindowDataModel::staticClass());
  return registered;
}

std::shared_ptr<OQWindowEvent> OQWindowData::preEvent() const {
  std::lock_guard lock(_preEventMutex);
  return _preEvent;
}

void OQWindowData::setPreEvent(std::shared_ptr<OQWindowEvent> event) {
  // The former one goes with the parameter, after the lock.
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

void OQWindowData::setModelWithDic(const Value& dic) {
  if (!dic.is_object()) return;
  _windowId = valueForKey(dic, "id");
  _count = integerValue(valueForKey(dic, "count"));
  _style = integerValue(valueForKey(dic, "style"));
  _type = integerValue(valueForKey(dic, "type"));
  _createTime = valueForKey(dic, "createTime");
  _changeTime = valueForKey(dic, "changeTime");
  _startTime = valueForKey(dic, "startTime");
  _endTime = valueForKey(dic, "endTime");
  _eventLink = valueForKey(dic, "clickEvent");
  _event = conditionFrom(valueForKey(dic, "event"));
  setPreEvent(conditionFrom(valueForKey(dic, "preEvent")));
  _picture = valueForKey(dic, "picture");
  _title = attributeFrom<OQTextAttribute>(valueForKey(dic, "title"));
  _content = attributeFrom<OQTextAttribute>(valueForKey(dic, "content"));
  _leftBtnAttribute = attributeFrom<OQButtonAttribute>(valueForKey(dic, "buttonLeft"));
  _middleBtnAttribute = attributeFrom<OQButtonAttribute>(valueForKey(dic, "buttonMiddle"));
  _rightBtnAttribute = attributeFrom<OQButtonAttribute>(valueForKey(dic, "buttonRight"));
}

void OQWindowData::encodeWithCoder(KeyedArchiver& coder) const {
  OQWindowDataModel::encodeWithCoder(coder);
  coder.encodeObject(_windowId, "windowId");
  coder.encodeInteger(_count, "count");
  coder.encodeInteger(_style, "style");
  coder.encodeInteger(_type, "type");
  coder.encodeObject(_createTime, "createTime");
  coder.encodeObject(_changeTime, "changeTime");
  coder.encodeObject(_startTime, "startTime");
  coder.encodeObject(_endTime, "endTime");
  coder.encodeObject(_eventLink, "eventLink");
  coder.encodeObject(_event, "event");
  coder.encodeObject(preEvent(), "preEvent");
  coder.encodeObject(_picture, "picture");
  coder.encodeObject(_title, "title");
  coder.encodeObject(_content, "content");
  coder.encodeObject(_leftBtnAttribute, "leftBtnAttribute");
  coder.encodeObject(_middleBtnAttribute, "middleBtnAttribute");
  coder.encodeObject(_rightBtnAttribute, "rightBtnAttribute");
}

void OQWindowData::initWithCoder(const KeyedUnarchiver& coder) {
  OQWindowDataModel::initWithCoder(coder);
  _windowId = coder.decodeValue("windowId");
  _count = coder.decodeInteger("count");
  _style = coder.decodeInteger("style");
  _type = coder.decodeInteger("type");
  _createTime = coder.decodeValue("createTime");
  _changeTime = coder.decodeValue("changeTime");
  _startTime = coder.decodeValue("startTime");
  _endTime = coder.decodeValue("endTime");
  _eventLink = coder.decodeValue("eventLink");
  _event = coder.decodeObjectOf<OQWindowEvent>("event");
  setPreEvent(coder.decodeObjectOf<OQWindowEvent>("preEvent"));
  _picture = coder.decodeValue("picture");
  _title = coder.decodeObjectOf<OQTextAttribute>("title");
  _content = coder.decodeObjectOf<OQTextAttribute>("content");
  _leftBtnAttribute = coder.decodeObjectOf<OQButtonAttribute>("leftBtnAttribute");
  _middleBtnAttribute = coder.decodeObjectOf<OQButtonAttribute>("middleBtnAttribute");
  _rightBtnAttribute = coder.decodeObjectOf<OQButtonAttribute>("rightBtnAttribute");
}

}  // namespace oq
