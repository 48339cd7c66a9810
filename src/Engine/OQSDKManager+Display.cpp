// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Number.h"
#include "Pages/OQWebController.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"

namespace oq {

void OQSDKManager::onEventDataReceived(const JSONValue& info) {
  if (!info.is_object()) return;
  OQLogger::log("收到event回调：\n%@", info);
  _session.takeUser(valueForKey(info, "xwho"), valueForKey(info, "appid"));
  // Checked without effect: page views are matched like any other event. This is intentional.
  [[maybe_unused]] const bool isPageView = valueForKey(info, "xwhat") == JSONValue("$pageview");

  auto event = std::make_shared<OQWindowEvent>();
  event->setModelWithDic(info);
  triggerEventMatch(event);
}

void OQSDKManager::triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event) {
  triggerEventMatchInApp(event);
  triggerEventMatchSubscribe(event);
}

void OQSDKManager::triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  if (const auto window = _decisions.windowFor(event)) _present(window);
}

void OQSDKManager::triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  const auto list = _store->listOrWait(OQCampaignStore::Kind::Subscribe, event).list;
  if (list && list->match(*event).position != OQCampaignMatch::nowhere) triggerEvent(event);
}

void OQSDKManager::_showWindowWithData(const std::shared_ptr<OQWindowData>& window) {
  if (window && _decisions.mayShow(window, nullptr)) _present(window);
}

void OQSDKManager::syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (node) _store->countDisplay(*node);
}

void OQSDKManager::_present(const std::shared_ptr<OQWindowData>& window) {
  auto self = shared_from_this();
  auto action = [self, window](std::int64_t code, const JSONValue& link) {
    guarded([&] { self->_handleWindowAction(window, code, link); });
  };
  auto present = [self, window, action] { guarded([&] { self->presentWindow(window, action); }); };
  OQDispatchQueueManager::dispatchInMainThread(present, true);
}

void OQSDKManager::presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) {
  const auto popWindow = makeMainObject<OQPopWindow>();
  popWindow->setNetwork(network());
  popWindow->popOnMainQueue(window, std::move(action));
}

void OQSDKManager::_handleWindowAction(const std::shared_ptr<OQWindowData>& window, std::int64_t code,
                                       const JSONValue& link) {
  const auto clicked = [&](const char* entry) {
    OQLogger::log(entry);
    jumpToWebViewWithURLStr(link);
    reportWindowEventWithName("$clickDialog", code, *window);
  };
  switch (code) {
    case OQWindowActionShown:
      OQLogger::log("显示弹窗，弹窗类型：%@", window->style());
      return reportWindowEventWithName("$impDialog", code, *window);
    case OQWindowActionPicture:
      return clicked("点击了弹窗图片");
    case OQWindowActionClosed:
      OQLogger::log("点击了弹窗关闭按钮");
      _store->markClosed(*window);
      return reportWindowEventWithName("$closeDialog", code, *window);
    case OQWindowActionLeftButton:
      return clicked("点击了弹窗left button");
    case OQWindowActionRightButton:
      return clicked("点击了弹窗right button");
    case OQWindowActionMiddleButton:
      return clicked("点击了弹窗middle button");
    default:
      return;
  }
}

void OQSDKManager::jumpToWebViewWithURLStr(const JSONValue& url) {
  if (isNonEmptyString(url)) OQWebController::open(std::string(url.get_string()));
}

void OQSDKManager::reportWindowEventWithName(const std::optional<std::string>& name, std::int64_t type,
                                             const OQWindowData& window) {
  _reportEvent(OQServerRequests::windowEvent(_session.values(), name, type, window));
}

void OQSDKManager::reportPushEventWithType(std::uint64_t type, const JSONValue& msg) {
  _reportEvent(OQServerRequests::pushEvent(_session.values(), type, msg));
}

void OQSDKManager::_reportEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (event) OQServerRequests::reportEvent(_session.values(), weak_from_this(), event);
}

void OQSDKManager::triggerEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (event) OQServerRequests::triggerEvent(_session.values(), weak_from_this(), event);
}

}  // namespace oq
