// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "MessageUI/MailMessage.h"
#include "UIKit/Controllers/UINavigationController.h"

namespace oq {

enum class MFMailComposeResult : std::int64_t { Cancelled = 0, Saved = 1, Sent = 2, Failed = 3 };

/// The delegate's method that a composer calls when it has finished. The arguments are the composer, the
/// MFMailComposeResult as a number, and the error, if any.
inline const Selector<void(Object*, std::int64_t, const std::optional<Error>&)> mailComposeDidFinishSelector{
    "mailComposeController:didFinishWithResult:error:"};

/// Opens a message in the user's own mail program. On screen it shows a small card with a Cancel button. When the card
/// has appeared, the composer writes the attachments into files. Then it asks the desktop's portal to show the message,
/// or starts xdg-email if no portal accepts mail. Finally it notifies the delegate, which must dismiss the composer.
/// Without a delegate that has the method, the composer dismisses itself. The result Sent means that a mail program
/// shows the message; whether the user sends it is unknown.
///
/// Main thread only. Create it with makeMainObject() and present it once.
class MFMailComposeViewController : public UINavigationController {
  OQ_CLASS(MFMailComposeViewController)

 public:
  /// The maximum number of files in a message. If more are added, only the last ones are kept.
  static constexpr std::size_t mostAttachments = 16;
  /// Whether an e-mail portal, or xdg-email with a mail program, is available. Blocks for up to two seconds while a
  /// portal starts.
  static bool canSendMail();

  MFMailComposeViewController();
  ~MFMailComposeViewController() override;

  /// Held weakly. Receives mailComposeDidFinishSelector if its class has such a method.
  void setMailComposeDelegate(const std::shared_ptr<Object>& delegate) { _delegate = delegate; }
  void setSubject(std::string subject) { _message.subject = std::move(subject); }
  void setToRecipients(std::vector<std::string> recipients) { _message.recipients = std::move(recipients); }
  /// `isHTML` has no effect: the mail program always gets the body as plain text.
  void setMessageBody(std::string body, bool isHTML);
  /// `mimeType` has no effect: the mail program derives the type of the file from its name.
  void addAttachmentData(Data data, const std::string& mimeType, std::string fileName);

 protected:
  std::shared_ptr<UIView> loadView() override;

 private:
  class Page;

  std::shared_ptr<MFMailComposeViewController> self();
  void _viewDidAppear(bool animated);
  void _viewDidDisappear(bool animated);
  void begin();
  void composeByPortal();
  void composeByProgram();
  void giveUp();
  /// Returns a completion that calls the member function, unless the composer has been destroyed by then.
  MailCompletion telling(void (MFMailComposeViewController::*member)(MailOutcome, const std::optional<Error>&));
  void portalEnded(MailOutcome outcome, const std::optional<Error>& error);
  void programEnded(MailOutcome outcome, const std::optional<Error>& error);
  void finish(MailOutcome outcome, const std::optional<Error>& error);

  std::weak_ptr<Object> _delegate;
  MailMessage _message;
  std::vector<std::filesystem::path> _files;
  std::shared_ptr<MailComposition> _composition;
  bool _hasBegun = false;
  bool _hasFinished = false;
};

}  // namespace oq
