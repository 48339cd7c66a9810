// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The program xdg-email, which passes a message to the user's preferred mail program. Main thread only.
class XdgEmail {
 public:
  /// Whether the program is on PATH and a mail program is registered.
  static bool isAvailable();
  /// Starts the program with the files as attachments.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
