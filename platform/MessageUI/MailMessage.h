// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Data.h"
#include "Foundation/Values/Error.h"

namespace oq {

struct MailAttachment {
  Data data;
  std::string fileName;
};

/// The message that the user's mail program shows, ready to be sent.
struct MailMessage {
  std::vector<std::string> recipients;
  std::string subject;
  std::string body;
  std::vector<MailAttachment> attachments;
};

enum class MailOutcome {
  HandedOver,   ///< a mail program shows the message
  Cancelled,    ///< the user cancelled
  Failed,       ///< not handed over; the error contains the reason
  Unreachable,  ///< no portal or program accepts mail
};

/// Called once, on the main queue, but not after MailComposition::cancel().
using MailCompletion = std::function<void(MailOutcome outcome, std::optional<Error> error)>;

/// A message that is being passed to a mail program. Main thread only.
class MailComposition {
 public:
  virtual ~MailComposition() = default;
  /// Cancels; the completion is not called any more.
  virtual void cancel() = 0;
};

inline constexpr const char* MailErrorDomain = "MFMailComposeErrorDomain";

}  // namespace oq
