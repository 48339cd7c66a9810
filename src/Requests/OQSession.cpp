// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQSession.h"

#include "Foundation/Values/Format.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQConsent.h"
#include "Utils/OQLogger.h"

namespace oq {

namespace {

constexpr const char *kTokenKey = "oq_token", *kUserIdKey = "oq_xwho";

std::optional<std::string> textOrNil(const JSONValue& value) {
  if (value.is_null()) return std::nullopt;
  return descriptionOf(value);
}

void storeText(const std::optional<std::string>& text, const char* key) {
  OQUserDefaults::groupDefaults().setObject(text ? JSONValue(*text) : JSONValue(), key);
}

}  // namespace

OQSession::OQSession() {
  const OQUserDefaults& defaults = OQUserDefaults::groupDefaults();
  _values.token = textOrNil(defaults.objectForKey(kTokenKey));
  _values.userId = textOrNil(defaults.objectForKey(kUserIdKey));
  _values.isNewUser = _values.userId.has_value();
  OQLogger::setSecret(_values.token.value_or(""));
}

OQSession::Values OQSession::values() const {
  std::lock_guard lock(_mutex);
  return _values;
}

void OQSession::takeUser(const JSONValue& xwho, const JSONValue& appid) {
  if (OQConsent::isMissing()) return;
  std::optional<std::string> userId = textOrNil(xwho), application = textOrNil(appid);
  storeText(userId, kUserIdKey);
  std::lock_guard lock(_mutex);
  _values.userId.swap(userId);
  _values.appid.swap(application);
}

void OQSession::forget() {
  std::lock_guard lock(_mutex);
  _values.token.reset();
  _values.userId.reset();
  _values.offer.reset();
  _values.isNewUser = false;
}

void OQSession::store() const {
  const Values current = values();
  storeText(current.token, kTokenKey);
  storeText(current.userId, kUserIdKey);
}

void OQSession::takeToken(const JSONValue& token) {
  if (OQConsent::isMissing()) return;
  const std::optional<std::string> text = textOrNil(token);
  OQLogger::setSecret(text.value_or(""));
  set(&Values::token, text);
  storeText(text, kTokenKey);
}

void OQSession::takeOffer(const JSONValue& loginAnswer, std::uint64_t environment) {
  set(&Values::offer, OQExtensions::offeredIn(loginAnswer, environment));
}

std::optional<OQExtensions> OQSession::Values::currentOffer() const {
  return offer && offer->environment == OQUserDefaults::environment() ? offer : std::nullopt;
}

}  // namespace oq
