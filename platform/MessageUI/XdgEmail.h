// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The program xdg-email, which passes a message to the user's preferred mail program. Main thread only.
class XdgEmail {
 public:
  /// Whether xdg-email is on PATH and a mail program is registered for mailto links.
  static bool isAvailable();
  /// Starts xdg-email with the files as attachments. If it cannot be started, the outcome is Unreachable.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
