#pragma once

#include <memory>

#include "MessageUI/MailMessage.h"

namespace oq {

/// The program xdg-email, which hands a message to the mail program that the user has chosen. Main thread
/// only.
class XdgEmail {
 public:
  /// Whether the program is on PATH and some mail program is there for it.
  static bool isAvailable();
  /// Starts the program with the files as attachments.
  static std::shared_ptr<MailComposition> compose(const MailMessage& message,
                                                  const std::vector<std::filesystem::path>& files,
                                                  MailCompletion completion);
};

}  // namespace oq
