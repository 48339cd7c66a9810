// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The e-mail interface of the desktop's portal (org.freedesktop.portal.Desktop). Call these functions on the main
/// thread only. compose() makes its D-Bus calls on the mail thread, so the main thread need not run a GLib loop. Each
/// function uses a connection of its own to the session bus, so closing that connection affects nothing else.
class PortalMail {
 public:
  /// With a seventeenth file in a call the bus would close the connection.
  static constexpr std::size_t mostFiles = 16;

  /// Whether a portal that supports e-mail answers. Blocks for at most two seconds.
  static bool isAvailable();
  /// Asks the portal to show the message, with the first `mostFiles` files. If no thread can be created, returns
  /// nullptr and the outcome is Unreachable.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
