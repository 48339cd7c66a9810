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

/// What the user's mail program is asked to show, ready to be sent.
struct MailMessage {
  std::vector<std::string> recipients;
  std::string subject;
  std::string body;
  std::vector<MailAttachment> attachments;
};

enum class MailOutcome {
  HandedOver,   ///< a mail program shows it
  Cancelled,    ///< by the user
  Failed,       ///< refused; there is an error
  Unreachable,  ///< nobody was there to take it
};

/// Called once, on the main queue.
using MailCompletion = std::function<void(MailOutcome outcome, std::optional<Error> error)>;

/// A message on its way to a mail program. Main thread only.
class MailComposition {
 public:
  virtual ~MailComposition() = default;
  /// Gives up; the completion is not called any more.
  virtual void cancel() = 0;
};

/// The domain of failures of mail.
inline constexpr const char* MailErrorDomain = "MFMailComposeErrorDomain";

}  // namespace oq
