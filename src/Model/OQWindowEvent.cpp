#include "Model/OQWindowEvent.h"

#include "Model/OQModelFields.h"

namespace oq {

namespace {

/// Values are equal only as strings: a number never equals a text, nor another number.
bool equalStrings(const JSONValue& one, const JSONValue& other) {
  return one.is_string() && other.is_string() && one.get_string() == other.get_string();
}

std::size_t keyCount(const JSONDictionary* context) {
  return context ? context->size() : 0;
}

/// Whether every entry of `walked` is in `other`, with an equal value.
bool contains(const JSONDictionary* other, const JSONDictionary* walked) {
  if (!walked) return true;
  for (const auto& entry : *walked) {
    const JSONValue* value = other ? other->if_contains(entry.key()) : nullptr;
    if (!value || !equalStrings(entry.value(), *value)) return false;
  }
  return true;
}

JSONValue orEmptyText(const JSONValue& value) {
  return value.is_null() ? JSONValue("") : value;
}

}  // namespace

Class* OQWindowEvent::staticClass() {
  static Class* registered = registerClass("OQWindowEvent", OQWindowDataModel::staticClass());
  return registered;
}

template <class Event, class Visit>
void OQWindowEvent::visitFields(Event& event, const Visit& visit) {
  visit("appid", "appid", event._appid);
  visit("xwho", "xwho", event._xwho);
  visit("xwhat", "xwhat", event._xwhat);
  visit("xwhen", "xwhen", event._xwhen);
  visit("xcontext", "xcontext", event._xcontext);
}

void OQWindowEvent::setModelWithDic(const JSONValue& dic) {
  _available = dic.is_object();
  if (_available) visitFields(*this, FieldsFromDictionary{dic});
}

bool OQWindowEvent::matches(const OQWindowEvent& condition) const {
  if (!_available || !condition._available) return false;
  if (!equalStrings(_xwhat, condition._xwhat)) return false;
  const JSONDictionary* own = _xcontext.if_object();
  const JSONDictionary* required = condition._xcontext.if_object();
  // The smaller dictionary is walked, the condition's on a tie. So an event with fewer properties than the
  // condition is held only against those it has, and one without any satisfies every condition of its name.
  // This is meant.
  return keyCount(own) >= keyCount(required) ? contains(own, required) : contains(required, own);
}

JSONDictionary OQWindowEvent::toDictionary() const {
  JSONDictionary dictionary;
  dictionary.reserve(5);
  dictionary.emplace("appid", orEmptyText(_appid));
  dictionary.emplace("xwho", orEmptyText(_xwho));
  dictionary.emplace("xwhat", orEmptyText(_xwhat));
  dictionary.emplace("xwhen", _xwhen);
  dictionary.emplace("xcontext", _xcontext.is_null() ? JSONValue(JSONDictionary()) : _xcontext);
  return dictionary;
}

void OQWindowEvent::encodeWithCoder(KeyedArchiver& coder) const {
  OQWindowDataModel::encodeWithCoder(coder);
  coder.encodeBool(_available, "available");
  visitFields(*this, FieldsToArchive{coder});
}

void OQWindowEvent::initWithCoder(const KeyedUnarchiver& coder) {
  OQWindowDataModel::initWithCoder(coder);
  _available = coder.decodeBool("available");
  visitFields(*this, FieldsFromArchive{coder});
}

}  // namespace oq
