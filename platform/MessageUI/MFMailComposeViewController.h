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

/// What a composer tells its delegate: the composer, the result as a number, and what went wrong.
inline const Selector<void(Object*, std::int64_t, const std::optional<Error>&)> mailComposeDidFinishSelector{
    "mailComposeController:didFinishWithResult:error:"};

/// Has the user's own mail program show a message. On screen itself it is a small card that tells so, with a
/// button to give up. Once it has appeared it writes the attachments into files and asks the desktop's
/// portal, or xdg-email where no portal answers; then the delegate hears of it and takes the composer away.
/// "Sent" means that a mail program shows the message: what the user does there nobody tells.
///
/// Main thread only; made with makeMainObject(), and presented once.
class MFMailComposeViewController : public UINavigationController {
  OQ_CLASS(MFMailComposeViewController)

 public:
  /// A message carries no more files; of more the last ones go.
  static constexpr std::size_t mostAttachments = 16;
  /// Whether there is somebody to hand a message to. May wait some seconds for a portal that starts.
  static bool canSendMail();

  MFMailComposeViewController();
  ~MFMailComposeViewController() override;

  /// Held weakly. It is told by a message, and only if its class knows that.
  void setMailComposeDelegate(const std::shared_ptr<Object>& delegate) { _delegate = delegate; }
  void setSubject(std::string subject) { _message.subject = std::move(subject); }
  void setToRecipients(std::vector<std::string> recipients) { _message.recipients = std::move(recipients); }
  /// Always plain text to the mail program.
  void setMessageBody(std::string body, bool isHTML);
  /// The mail program tells by its name what kind of file it is.
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
  /// Calls the member with what became of the composition, unless the composer is gone.
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
