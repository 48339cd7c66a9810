// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <utility>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Format.h"
#include "Hooks/OQSwizzler.h"
#include "MessageUI/MFMailComposeViewController.h"
#include "Pages/OQNavigation.h"
#include "UIKit/Controllers/UIAlertController.h"
#include "UIKit/Windows/MainObject.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"

namespace oq {
namespace {

struct Mail {
  std::string recipient;
  std::vector<Data> datas;
  std::vector<std::string> fileNames;
  std::shared_ptr<UIViewController> controller;
};

/// Makes sure that the composer is dismissed when it has finished, even if the controller's class has no method for
/// this.
void hookDelegate(const UIViewController& controller) {
  OQMailHookBlock dismissing = [](Object&, SEL, Object*, const Value&, const std::optional<Error>&) {
    if (const auto current = OQNavigation::currentViewController()) current->dismissViewControllerAnimated(true);
  };
  OQSwizzler::swizzleSelector(mailComposeDidFinishSelector, controller.class_(), std::move(dismissing),
                              "MFMailComposeViewControllerDelegate");
}

void present(Mail& mail) {
  if (!mail.controller || !MFMailComposeViewController::canSendMail()) return;
  auto composer = makeMainObject<MFMailComposeViewController>();
  composer->setMailComposeDelegate(mail.controller);
  hookDelegate(*mail.controller);
  composer->setSubject(stringWithFormat("OQSDK v%@ 用户行为日志", OQSDKVersion));
  composer->setToRecipients({mail.recipient});
  composer->setMessageBody("请查收附件", false);
  // If the caller passes fewer names than files, the files without a name are left out.
  const std::size_t count = std::min(mail.datas.size(), mail.fileNames.size());
  for (std::size_t i = 0; i < count; ++i) composer->addAttachmentData(std::move(mail.datas[i]), "", mail.fileNames[i]);
  mail.controller->presentViewController(composer, true);
}

struct Choice {
  const char* title;  ///< nullptr: the button has neither a title nor an action
  std::uint64_t environment;
};

struct EnvironmentAlert {
  const char* name;  ///< of the current environment; nullptr if it is unknown
  std::array<Choice, 2> others;
};

constexpr Choice kProduction{"distribution", OQEnvironmentProduction}, kTesting{"test", OQEnvironmentTest},
    kDevelopment{"dev", OQEnvironmentDevelopment};

EnvironmentAlert alertFor(std::uint64_t environment) {
  switch (environment) {
    case OQEnvironmentProduction:
      return {"distribution", {kDevelopment, kTesting}};
    case OQEnvironmentTest:
      return {"test", {kDevelopment, kProduction}};
    case OQEnvironmentDevelopment:
      return {"dev", {kTesting, kProduction}};
    default:
      return {nullptr, {Choice{}, Choice{}}};
  }
}

std::shared_ptr<UIAlertAction> actionFor(const Choice& choice) {
  if (!choice.title) return UIAlertAction::actionWithTitle(std::nullopt, UIAlertActionStyle::Default);
  return UIAlertAction::actionWithTitle(
      choice.title, UIAlertActionStyle::Default,
      [environment = choice.environment](UIAlertAction&) { OQSDKManager::setEnvironment(environment); });
}

void presentEnvironmentAlert() {
  const EnvironmentAlert content = alertFor(OQSDKManager::getEnvironment());
  auto alert = UIAlertController::alertControllerWithTitle(
      "切换环境", stringWithFormat("当前环境为“%@”，是否切换？\n切换后请重启APP", content.name),
      UIAlertControllerStyle::Alert);
  // Intentional: the cancel button is red (destructive), although it destroys nothing.
  alert->addAction(UIAlertAction::actionWithTitle("取消", UIAlertActionStyle::Destructive));
  for (const Choice& choice : content.others) alert->addAction(actionFor(choice));
  if (const auto navigation = OQNavigation::currentNavigation()) navigation->presentViewController(alert, true);
}

}  // namespace

void OQUtils::sendEmailTo(const std::optional<std::string>& recipient, std::vector<Data> attachmentDatas,
                          std::vector<std::string> attachmentFileNames,
                          std::shared_ptr<UIViewController> fromController) {
  if (!recipient || recipient->empty()) return;
  auto mail = std::make_shared<Mail>(
      Mail{*recipient, std::move(attachmentDatas), std::move(attachmentFileNames), std::move(fromController)});
  OQDispatchQueueManager::dispatchInMainThread([mail] { present(*mail); }, true);
}

void OQUtils::changeEnvironment() {
  OQDispatchQueueManager::dispatchInMainThread(presentEnvironmentAlert, true);
}

}  // namespace oq
