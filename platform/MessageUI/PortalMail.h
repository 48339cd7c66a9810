#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The e-mail interface of the desktop's portal, over a connection to the session bus of our own, whose end
/// ends nothing else. Main thread only, whose loop must be GLib's default main context.
class PortalMail {
 public:
  /// A portal's message carries no more: a seventeenth file would make the bus drop the connection.
  static constexpr std::size_t mostFiles = 16;

  /// Whether a portal that takes e-mail answers. Waits for it two seconds at most.
  static bool isAvailable();
  /// Asks the portal to have the message shown, with the first `mostFiles` of the files.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
