// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Engine/OQMessageControl.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// The fields of a campaign that a host gets if it draws messages itself: the `content` of MessageHandlers::present.
JSONValue messageContent(const OQWindowData& window);

struct OQHostPresentation {
  /// Called with what the host reports: the number of a MessageAction, and the link of the clicked part, or null.
  std::function<void(std::int64_t code, const JSONValue& link)> action;
  /// Called when the library has removed the message from the screen.
  std::function<void()> removed;
  /// Called to show the message if the host does not draw it.
  std::function<void()> otherwise;
};

/// Passes the message to MessageHandlers::present, as soon as OQPresentationQueue lets a message appear. If the host
/// does not draw the message, the library shows it. Main queue only.
void presentByHost(const std::shared_ptr<OQMessage>& message, const std::shared_ptr<OQMessageControl>& control,
                   OQHostPresentation presentation);

/// Ends the newest message that the host draws; false if there is none. Main queue only.
bool dismissNewestOfHost();
/// Ends all messages that the host draws. Main queue only.
void removeAllOfHost();

}  // namespace oq
