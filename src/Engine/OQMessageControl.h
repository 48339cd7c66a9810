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

/// One message, from just before its display is counted until it is gone: ended, dropped, or released by all owners.
/// The window on screen owns it, or the MessageReporter of a host that draws it. Thread-safe.
class OQMessage {
 public:
  OQMessage(std::shared_ptr<OQWindowData> window, Message description)
      : _window(std::move(window)), _description(std::move(description)) {}

  const std::shared_ptr<OQWindowData>& window() const { return _window; }
  const Message& description() const { return _description; }

  /// Dropped: the message must neither appear nor report anything any more.
  void drop() { _isDropped = true; }
  bool isDropped() const { return _isDropped; }
  /// Ended: the user has closed the message or clicked it, or the library has removed it. end() returns false if the
  /// message had ended before.
  bool end() { return !_isEnded.exchange(true); }
  bool isEnded() const { return _isEnded; }

 private:
  const std::shared_ptr<OQWindowData> _window;
  const Message _description;
  std::atomic<bool> _isDropped{false};
  std::atomic<bool> _isEnded{false};
};

/// What the host decides about messages: its callbacks, whether messages are held back, and whether several may be on
/// screen. Also keeps a list of the messages that are not gone yet.
///
/// Thread-safe. No lock is held while a callback of the host runs.
class OQMessageControl {
 public:
  using Handlers = std::shared_ptr<const MessageHandlers>;

  /// The object of the process, never destroyed. A host may use it before the library starts.
  static const std::shared_ptr<OQMessageControl>& shared();

  void setHandlers(MessageHandlers handlers);
  /// Never nullptr.
  Handlers handlers() const;
  void setHeld(bool isHeld);
  bool isHeld() const { return _isHeld; }
  void setOneAtATime(bool oneAtATime) { _isOneAtATime = oneAtATime; }

  /// Whether the library can show the message in this host: false for a web page if the host has no web engine.
  static bool canBeShownHere(const OQMessage& message);
  /// Why the message may not be shown now; nullopt if it may. Calls the host, without a lock.
  std::optional<OQDecision> refusalOf(const OQMessage& message) const;
  /// Whether refusalOf() asks the host.
  bool asksHost() const { return static_cast<bool>(handlers()->mayShow); }
  /// Adds the message to the list. Returns false, and adds nothing, if only one message may be shown and another one is
  /// not gone yet.
  bool begin(const std::shared_ptr<OQMessage>& message);
  /// The newest message of the window that is not gone, or nullptr.
  std::shared_ptr<OQMessage> find(const OQWindowData& window) const;
  /// Drops all messages that are not gone.
  void dropAll();

  static std::shared_ptr<OQMessage> messageOf(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event);

 private:
  /// Removes the messages that are gone from the list, and returns the others. The caller holds _mutex.
  std::vector<std::shared_ptr<OQMessage>> current() const;
  bool isAnotherShown() const;

  std::atomic<bool> _isHeld{false};
  std::atomic<bool> _isOneAtATime{false};
  mutable std::mutex _mutex;
  Handlers _handlers = std::make_shared<const MessageHandlers>();
  mutable std::vector<std::weak_ptr<OQMessage>> _messages;
};

}  // namespace oq
