// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Engine/OQDecision.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "oqsdk/Messages.h"

namespace oq {

/// One message, from just before its display is counted until it is gone. The window on screen, or whoever draws the
/// message, holds it. Thread-safe.
class OQMessage {
 public:
  OQMessage(std::shared_ptr<OQWindowData> window, Message description)
      : _window(std::move(window)), _description(std::move(description)) {}

  const std::shared_ptr<OQWindowData>& window() const { return _window; }
  const Message& description() const { return _description; }

  /// Dropped: the message must neither appear nor report anything any more.
  void drop() { _isDropped = true; }
  bool isDropped() const { return _isDropped; }
  /// Ended: the user has closed the message or clicked it.
  void end() { _isEnded = true; }
  bool isEnded() const { return _isEnded; }

 private:
  const std::shared_ptr<OQWindowData> _window;
  const Message _description;
  std::atomic<bool> _isDropped{false};
  std::atomic<bool> _isEnded{false};
};

/// What the host decides about messages: its callbacks, whether they are held back, and whether several may be on
/// screen. It knows each message that is not gone yet.
///
/// Thread-safe. No lock is held while a callback of the host runs.
class OQMessageControl {
 public:
  using Handlers = std::shared_ptr<const MessageHandlers>;

  void setHandlers(MessageHandlers handlers);
  /// Never nullptr.
  Handlers handlers() const;
  void setHeld(bool isHeld) { _isHeld = isHeld; }
  bool isHeld() const { return _isHeld; }
  void setOneAtATime(bool oneAtATime) { _isOneAtATime = oneAtATime; }

  /// Why the message may not be shown now; nullopt if it may. Calls the host, without a lock.
  std::optional<OQDecision> refusalOf(const OQMessage& message) const;
  /// Whether refusalOf() asks the host.
  bool asksHost() const { return static_cast<bool>(handlers()->mayShow); }
  /// Makes the message known. False if another one is not gone and only one may be shown.
  bool begin(const std::shared_ptr<OQMessage>& message);
  /// The newest message of the window that is not gone, or nullptr.
  std::shared_ptr<OQMessage> find(const OQWindowData& window) const;
  /// Drops all messages that are not gone.
  void dropAll();

  static std::shared_ptr<OQMessage> messageOf(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event);

 private:
  /// Forgets messages that are gone, and returns the others. The caller holds _mutex.
  std::vector<std::shared_ptr<OQMessage>> current() const;
  bool isAnotherShown() const;

  std::atomic<bool> _isHeld{false};
  std::atomic<bool> _isOneAtATime{false};
  mutable std::mutex _mutex;
  Handlers _handlers = std::make_shared<const MessageHandlers>();
  mutable std::vector<std::weak_ptr<OQMessage>> _messages;
};

}  // namespace oq
