// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The e-mail interface of the desktop's portal. It uses its own connection to the session bus, so closing that
/// connection affects nothing else. It uses its own thread, so the main thread need not run a GLib loop. Main thread
/// only.
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
