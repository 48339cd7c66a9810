// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQHostPresentation.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <utility>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/System/HostCall.h"
#include "UI/OQPresentationQueue.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"

namespace oq {

namespace {

std::string hexOf(const UIColor& color) {
  const auto byte = [](double part) { return static_cast<unsigned>(std::lround(part * 255.0)); };
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "#%02x%02x%02x", byte(color.red), byte(color.green), byte(color.blue));
  return text.data();
}

void add(JSONDictionary& content, const char* key, const JSONValue& value) {
  if (!value.is_null()) content[key] = value;
}

JSONDictionary partOf(const OQWindowItemAttribute& attribute) {
  JSONDictionary part;
  add(part, "text", attribute.text());
  if (attribute.color()) part["color"] = hexOf(*attribute.color());
  if (attribute.backgroundColor()) part["background"] = hexOf(*attribute.backgroundColor());
  if (attribute.size() > 0) part["size"] = attribute.size();
  return part;
}

/// Adds the part if the campaign has it. Every window has an object for each part; the part is missing in the campaign
/// if the object has no text.
void addText(JSONDictionary& content, const char* key, const std::shared_ptr<OQTextAttribute>& text) {
  if (text && !text->text().is_null()) content[key] = partOf(*text);
}

void addButton(JSONDictionary& content, const char* key, const std::shared_ptr<OQButtonAttribute>& button) {
  if (!button || button->text().is_null()) return;
  auto part = partOf(*button);
  add(part, "clickEvent", button->eventLink());
  content[key] = std::move(part);
}

JSONValue linkOf(const OQWindowData& window, MessageAction action) {
  const auto of = [](const auto& button) { return button ? button->eventLink() : JSONValue(); };
  switch (action) {
    case MessageAction::Picture:
      return window.eventLink();
    case MessageAction::LeftButton:
      return of(window.leftBtnAttribute());
    case MessageAction::RightButton:
      return of(window.rightBtnAttribute());
    case MessageAction::MiddleButton:
      return of(window.middleBtnAttribute());
    default:
      return {};
  }
}

}  // namespace

/// A message that the host draws.
class __attribute__((visibility("hidden"))) MessageReporter::State : public std::enable_shared_from_this<State> {
 public:
  State(std::shared_ptr<OQMessage> message, OQHostPresentation presentation)
      : _message(std::move(message)), _presentation(std::move(presentation)) {}

  bool report(MessageAction action) {
    if (!isNext(action)) return false;
    OQDispatchQueueManager::dispatchInMainThread([self = shared_from_this(), action] { self->handle(action); }, true);
    return true;
  }

  /// Ends the message if the host has reported nothing yet. Returns false if the host has reported something, or if the
  /// library has ended the message.
  bool cancel() {
    std::lock_guard lock(_mutex);
    return !_isShown && !std::exchange(_isEnded, true);
  }

  /// Ends the message for the library and calls `removed`. Returns false if the message has already ended. Main queue
  /// only.
  bool remove() {
    {
      std::lock_guard lock(_mutex);
      if (std::exchange(_isEnded, true)) return false;
    }
    _isRemoved = true;
    _presentation.removed();
    return true;
  }

 private:
  bool isNext(MessageAction action) {
    const bool isKnown = action >= MessageAction::Shown && action <= MessageAction::MiddleButton;
    const bool isFirst = action == MessageAction::Shown;
    std::lock_guard lock(_mutex);
    if (!isKnown || _isEnded || isFirst == _isShown || _message->isDropped()) return false;
    _isShown = true;
    _isEnded = !isFirst;
    return true;
  }

  /// Main queue only.
  void handle(MessageAction action) {
    if (_isRemoved) return;
    _presentation.action(static_cast<std::int64_t>(action), linkOf(*_message->window(), action));
  }

  const std::shared_ptr<OQMessage> _message;
  const OQHostPresentation _presentation;
  std::mutex _mutex;
  bool _isShown = false;
  bool _isEnded = false;
  bool _isRemoved = false;  ///< by remove(); main queue only
};

MessageReporter::MessageReporter(std::shared_ptr<State> state) : _state(std::move(state)) {}
MessageReporter::~MessageReporter() = default;
MessageReporter::MessageReporter(const MessageReporter&) = default;
MessageReporter& MessageReporter::operator=(const MessageReporter&) = default;

bool MessageReporter::report(MessageAction action) const {
  return _state && _state->report(action);
}

namespace {

/// The messages that the host draws, oldest first. Main queue only.
std::vector<std::weak_ptr<MessageReporter::State>>& drawnByHost() {
  static auto& messages = *new std::vector<std::weak_ptr<MessageReporter::State>>;
  return messages;
}

}  // namespace

JSONValue messageContent(const OQWindowData& window) {
  JSONDictionary content{{"style", window.style()}};
  add(content, "picture", window.picture());
  add(content, "clickEvent", window.eventLink());
  addText(content, "title", window.title());
  addText(content, "content", window.content());
  addButton(content, "buttonLeft", window.leftBtnAttribute());
  addButton(content, "buttonMiddle", window.middleBtnAttribute());
  addButton(content, "buttonRight", window.rightBtnAttribute());
  return content;
}

namespace {

/// Offers the message to the host. Returns whether the host draws it. If not, the host has reported nothing, and the
/// library may show the message.
bool isTakenByHost(const std::shared_ptr<OQMessage>& message, const MessageHandlers& handlers,
                   const OQHostPresentation& presentation) {
  auto state = std::make_shared<MessageReporter::State>(message, presentation);
  std::erase_if(drawnByHost(), [](const auto& drawn) { return drawn.expired(); });
  drawnByHost().push_back(state);
  bool isTaken = false;
  callHost([&] {
    isTaken = handlers.present(message->description(), publicValue(messageContent(*message->window())),
                               MessageReporter(state));
  });
  // A host that has reported something has taken the message, whatever it returned.
  return isTaken || !state->cancel();
}

}  // namespace

void presentByHost(const std::shared_ptr<OQMessage>& message, const std::shared_ptr<OQMessageControl>& control,
                   OQHostPresentation presentation) {
  auto present = [message, control, presentation = std::move(presentation)] {
    if (message->isDropped()) return;
    // The callbacks are read now, because the host may have replaced them while the message waited.
    const auto handlers = control->handlers();
    if (handlers->present && isTakenByHost(message, *handlers, presentation)) return;
    if (message->isDropped() || !OQMessageControl::canBeShownHere(*message)) return;
    presentation.otherwise();
  };
  OQPresentationQueue::shared().add(OQPresentationQueue::Kind::Campaign, std::move(present));
}

bool dismissNewestOfHost() {
  while (!drawnByHost().empty()) {
    const auto newest = drawnByHost().back().lock();
    drawnByHost().pop_back();
    if (newest && newest->remove()) return true;
  }
  return false;
}

void removeAllOfHost() {
  while (dismissNewestOfHost()) continue;
}

}  // namespace oq
