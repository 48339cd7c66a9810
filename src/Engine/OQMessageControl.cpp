// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQMessageControl.h"

#include "Foundation/System/HostCall.h"
#include "Foundation/Values/Format.h"
#include "UI/OQPresentationQueue.h"
#include "Utils/OQGuard.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {

constexpr std::int64_t kStyleWebPage = 4;

std::string textOf(const JSONValue& value) {
  return value.is_null() ? std::string() : descriptionOf(value);
}

/// If the host's callback throws an exception, the message is allowed.
bool isAllowedByHost(const MessageHandlers& handlers, const Message& message) {
  bool isAllowed = true;
  if (handlers.mayShow) callHost([&] { isAllowed = handlers.mayShow(message); });
  return isAllowed;
}

}  // namespace

std::shared_ptr<OQMessage> OQMessageControl::messageOf(const std::shared_ptr<OQWindowData>& window,
                                                       const OQWindowEvent* event) {
  Message description{textOf(window->windowId()), event ? textOf(event->xwhat()) : std::string(),
                      static_cast<int>(window->style())};
  return std::make_shared<OQMessage>(window, std::move(description));
}

const std::shared_ptr<OQMessageControl>& OQMessageControl::shared() {
  static auto& control = *new std::shared_ptr(std::make_shared<OQMessageControl>());
  return control;
}

void OQMessageControl::setHeld(bool isHeld) {
  {
    // One lock for both flags, so that they stay equal if several threads hold and resume at the same time.
    std::lock_guard lock(_mutex);
    _isHeld = isHeld;
    OQPresentationQueue::setHeld(isHeld);
  }
  // Called after the lock is released, because this may wake the host's main loop.
  if (!isHeld) OQPresentationQueue::presentSoon();
}

void OQMessageControl::setHandlers(MessageHandlers handlers) {
  auto fresh = std::make_shared<const MessageHandlers>(std::move(handlers));
  // The former callbacks, now in `fresh`, are destroyed after the lock is released.
  std::lock_guard lock(_mutex);
  _handlers.swap(fresh);
}

OQMessageControl::Handlers OQMessageControl::handlers() const {
  std::lock_guard lock(_mutex);
  return _handlers;
}

bool OQMessageControl::canBeShownHere(const OQMessage& message) {
  return message.window()->style() != kStyleWebPage || canShowWebPages();
}

std::optional<OQDecision> OQMessageControl::refusalOf(const OQMessage& message) const {
  const Handlers current = handlers();
  if (!current->present && !canBeShownHere(message)) return OQDecision::CannotBeShownHere;
  if (isHeld()) return OQDecision::Held;
  if (isAnotherShown()) return OQDecision::AnotherIsShown;
  if (!isAllowedByHost(*current, message.description())) return OQDecision::RefusedByHost;
  return std::nullopt;
}

std::vector<std::shared_ptr<OQMessage>> OQMessageControl::current() const {
  std::vector<std::shared_ptr<OQMessage>> found;
  std::erase_if(_messages, [&](const std::weak_ptr<OQMessage>& known) {
    auto message = known.lock();
    const bool isGone = !message || message->isEnded() || message->isDropped();
    if (!isGone) found.push_back(std::move(message));
    return isGone;
  });
  return found;
}

bool OQMessageControl::isAnotherShown() const {
  if (!_isOneAtATime) return false;
  std::vector<std::shared_ptr<OQMessage>> messages;  // destroyed after the lock is released
  std::lock_guard lock(_mutex);
  messages = current();
  return !messages.empty();
}

bool OQMessageControl::begin(const std::shared_ptr<OQMessage>& message) {
  std::vector<std::shared_ptr<OQMessage>> others;  // destroyed after the lock is released
  std::lock_guard lock(_mutex);
  others = current();
  if (_isOneAtATime && !others.empty()) return false;
  _messages.push_back(message);
  return true;
}

std::shared_ptr<OQMessage> OQMessageControl::find(const OQWindowData& window) const {
  std::vector<std::shared_ptr<OQMessage>> messages;  // destroyed after the lock is released
  std::lock_guard lock(_mutex);
  messages = current();
  for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
    if ((*message)->window().get() == &window) return *message;
  }
  return nullptr;
}

void OQMessageControl::dropAll() {
  std::vector<std::shared_ptr<OQMessage>> messages;
  std::lock_guard lock(_mutex);
  messages = current();
  for (const auto& message : messages) message->drop();
}

}  // namespace oq
