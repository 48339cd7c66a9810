// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowEvent.h"

#include "Model/OQWindowDataModel.h"
#include "Utils/OQUtils.h"

namespace oq {

namespace {

/// Only strings can be equal: a number never equals a string, nor another number.
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
  // Compares the entries of the smaller dictionary, or the condition's if both have the same size. So an event with
  // fewer properties than the condition is compared only in those that it has, and an event without properties
  // satisfies every condition of its name. This is intentional.
  return keyCount(own) >= keyCount(required) ? contains(own, required) : contains(required, own);
}

JSONDictionary OQWindowEvent::toDictionary() const {
  JSONDictionary dictionary;
  dictionary.reserve(5);
  dictionary.emplace("appid", orEmptyString(_appid));
  dictionary.emplace("xwho", orEmptyString(_xwho));
  dictionary.emplace("xwhat", orEmptyString(_xwhat));
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
