// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "Engine/OQMessageControl.h"
#include "Foundation/Values/JSONValue.h"

namespace oq {

/// What a host that draws messages itself gets of a campaign: the fields of MessageHandlers::present.
JSONValue messageContent(const OQWindowData& window);

struct OQHostPresentation {
  /// Gets what the host reports.
  std::function<void(std::int64_t code, const JSONValue& link)> action;
  /// The library has ended the message.
  std::function<void()> removed;
};

/// Passes the message to the host's presenter as soon as the user could see it. If the host does not want it,
/// `otherwise` is called. Main queue only.
void presentByHost(const std::shared_ptr<OQMessage>& message, OQMessageControl::Handlers handlers,
                   OQHostPresentation presentation, std::function<void()> otherwise);

/// Ends the newest message that the host draws; false if there is none. Main queue only.
bool dismissNewestOfHost();
/// Ends all messages that the host draws. Main queue only.
void removeAllOfHost();

}  // namespace oq
