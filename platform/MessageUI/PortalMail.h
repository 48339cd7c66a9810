// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The e-mail interface of the desktop's portal. Uses its own connection to the session bus, so closing it affects
/// nothing else, and its own thread, so that no loop of GLib need run on the main thread. Main thread only.
class PortalMail {
 public:
  /// The portal's limit: with a seventeenth file the bus would close the connection.
  static constexpr std::size_t mostFiles = 16;

  /// Whether a portal that supports e-mail answers. Blocks for at most two seconds.
  static bool isAvailable();
  /// Asks the portal to show the message, with the first `mostFiles` files.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
