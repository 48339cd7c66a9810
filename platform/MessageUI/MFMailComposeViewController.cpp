// SPDX-License-Identifier: Apache-2.0
#include "MessageUI/MFMailComposeViewController.h"

#include "Dispatch/DispatchQueue.h"
#include "MessageUI/MailFiles.h"
#include "MessageUI/PortalMail.h"
#include "MessageUI/XdgEmail.h"
#include "UIKit/Controllers/AlertCard.h"
#include "UIKit/Controllers/DialogPage.h"

namespace oq {
namespace {

std::int64_t resultOf(MailOutcome outcome) {
  switch (outcome) {
    case MailOutcome::HandedOver:
      return static_cast<std::int64_t>(MFMailComposeResult::Sent);
    case MailOutcome::Cancelled:
      return static_cast<std::int64_t>(MFMailComposeResult::Cancelled);
    default:
      return static_cast<std::int64_t>(MFMailComposeResult::Failed);
  }
}

}  // namespace

static_assert(MFMailComposeViewController::mostAttachments <= PortalMail::mostFiles);

/// The composer's only page: the card that is shown while a mail program opens.
class MFMailComposeViewController::Page : public UIViewController {
 public:
  bool hidesNavigationBar() const override { return true; }

 protected:
  std::shared_ptr<UIView> loadView() override {
    auto cancel = [weak = weak_from_this()] {
      const auto waiting = weak.lock();
      auto composer = waiting ? waiting->navigationController() : nullptr;
      if (composer) std::static_pointer_cast<MFMailComposeViewController>(composer)->giveUp();
      return true;
    };
    auto page = makeMainObject<DialogPage>(kTitle, cancel);
    page->addSubview(makeAlertCard(kTitle, "The message waits there to be sent.",
                                   {makeAlertButton("Cancel", UIAlertActionStyle::Cancel, cancel)},
                                   page->bounds().size.width));
    return page;
  }

 private:
  static constexpr const char* kTitle = "Opening your mail program";
};

Class* MFMailComposeViewController::staticClass() {
  static Class* registered =
      registerClass("MFMailComposeViewController", UINavigationController::staticClass(),
                    {
                        method<&MFMailComposeViewController::_viewDidAppear>(viewDidAppearSelector),
                        method<&MFMailComposeViewController::_viewDidDisappear>(viewDidDisappearSelector),
                    });
  return registered;
}

MFMailComposeViewController::MFMailComposeViewController() : UINavigationController(makeMainObject<Page>()) {
  setModalPresentationStyle(UIModalPresentationStyle::OverFullScreen);
  setModalTransitionStyle(UIModalTransitionStyle::CrossDissolve);
}

MFMailComposeViewController::~MFMailComposeViewController() {
  if (_composition) _composition->cancel();
}

std::shared_ptr<MFMailComposeViewController> MFMailComposeViewController::self() {
  return std::static_pointer_cast<MFMailComposeViewController>(shared_from_this());
}

std::shared_ptr<UIView> MFMailComposeViewController::loadView() {
  setNavigationBarHidden(true);
  return UINavigationController::loadView();
}

bool MFMailComposeViewController::canSendMail() {
  return PortalMail::isAvailable() || XdgEmail::isAvailable();
}

void MFMailComposeViewController::setMessageBody(std::string body, bool) {
  _message.body = std::move(body);
}

void MFMailComposeViewController::addAttachmentData(Data data, const std::string&, std::string fileName) {
  auto& attachments = _message.attachments;
  attachments.push_back({std::move(data), std::move(fileName)});
  if (attachments.size() > mostAttachments) attachments.erase(attachments.begin());
}

void MFMailComposeViewController::_viewDidAppear(bool animated) {
  sendSuper(staticClass(), *this, viewDidAppearSelector, animated);
  if (!std::exchange(_hasBegun, true)) begin();
}

/// If other code dismisses the composer before the message is handed over, the message is cancelled and the delegate is
/// not notified.
void MFMailComposeViewController::_viewDidDisappear(bool animated) {
  sendSuper(staticClass(), *this, viewDidDisappearSelector, animated);
  if (presentingViewController() || _hasFinished) return;
  _hasFinished = true;
  if (_composition) _composition->cancel();
}

void MFMailComposeViewController::begin() {
  auto attachments = std::make_shared<std::vector<MailAttachment>>(std::move(_message.attachments));
  const std::weak_ptr<UIViewController> weak = weak_from_this();
  DispatchQueue::background().async([weak, attachments] {
    auto files = std::make_shared<std::vector<std::filesystem::path>>(writeMailFiles(*attachments));
    DispatchQueue::main().async([weak, attachments, files] {
      auto composer = std::static_pointer_cast<MFMailComposeViewController>(weak.lock());
      if (!composer || composer->_hasFinished) return;
      composer->_files = std::move(*files);
      if (composer->_files.empty() && !attachments->empty()) {
        return composer->finish(MailOutcome::Failed,
                                Error{MailErrorDomain, 1, "The attachments could not be written."});
      }
      composer->composeByPortal();
    });
  });
}

MailCompletion MFMailComposeViewController::telling(
    void (MFMailComposeViewController::*member)(MailOutcome, const std::optional<Error>&)) {
  return [weak = weak_from_this(), member](MailOutcome outcome, const std::optional<Error>& error) {
    if (auto composer = std::static_pointer_cast<MFMailComposeViewController>(weak.lock()))
      (*composer.*member)(outcome, error);
  };
}

void MFMailComposeViewController::composeByPortal() {
  _composition = PortalMail::compose(_message, _files, telling(&MFMailComposeViewController::portalEnded));
}

void MFMailComposeViewController::portalEnded(MailOutcome outcome, const std::optional<Error>& error) {
  if (outcome != MailOutcome::Unreachable) return finish(outcome, error);
  if (!_hasFinished) composeByProgram();
}

void MFMailComposeViewController::composeByProgram() {
  _composition = XdgEmail::compose(_message, _files, telling(&MFMailComposeViewController::programEnded));
}

void MFMailComposeViewController::programEnded(MailOutcome outcome, const std::optional<Error>& error) {
  if (outcome != MailOutcome::Unreachable) return finish(outcome, error);
  finish(MailOutcome::Failed, Error{MailErrorDomain, 2, "There is no mail program."});
}

void MFMailComposeViewController::giveUp() {
  if (_composition) _composition->cancel();
  finish(MailOutcome::Cancelled, std::nullopt);
}

void MFMailComposeViewController::finish(MailOutcome outcome, const std::optional<Error>& error) {
  if (std::exchange(_hasFinished, true)) return;
  const auto keptAlive = self();
  const auto delegate = _delegate.lock();
  const bool isObserved = delegate && class_getInstanceMethod(delegate->class_(), mailComposeDidFinishSelector);
  if (!isObserved) return dismissViewControllerAnimated(true);
  send(*delegate, mailComposeDidFinishSelector, static_cast<Object*>(this), resultOf(outcome), error);
}

}  // namespace oq
