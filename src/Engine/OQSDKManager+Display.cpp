#include <cmath>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Model/OQRecordTree.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebController.h"
#include "Storage/OQDataArchiver.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/MainObject.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"

namespace oq {

namespace {

constexpr double secondsUntilNextTry = 1;

/// Milliseconds since 1970, whole, as they are sent.
double currentMilliseconds() {
  return std::nearbyint(secondsSince1970(currentDate()) * 1000.0);
}

JSONValue orEmptyText(const JSONValue& value) {
  return value.is_null() ? JSONValue("") : value;
}

std::optional<OQDecision> objectionOf(const OQRecordTreeNode* node) {
  if (!node) return OQDecision::NoRecord;
  if (node->usedCount() >= node->count()) return OQDecision::CountUsedUp;
  return std::nullopt;
}

std::optional<OQDecision> refusalOf(const OQRecordTreeNode* node) {
  if (const auto objection = objectionOf(node)) return objection;
  if (!node->isActivated()) return std::nullopt;
  const bool wasClosedBefore = node->isUserClosed() && !node->wasCountedInThisRun();
  return wasClosedBefore ? OQDecision::ClosedByUser : OQDecision::AlreadyShown;
}

void logWritten(bool written, const char* success, const char* failure) {
  OQLogger::log("%@", written ? success : failure);
}

}  // namespace

bool OQSDKManager::readyToShowWithData(const OQWindowData& window) {
  return _decide(window) == OQDecision::Shown;
}

OQDecision OQSDKManager::_decide(const OQWindowData& window) {
  if (const auto objection = _askRecord(window, objectionOf)) return *objection;
  // Compared to the second, both ends included. Outside the lock, since every comparison writes to the
  // platform's log.
  const Date now = currentDate();
  const auto compared = [now](const JSONValue& time) {
    return OQUtils::compareOneDay(now, OQUtils::dateFromString(time));
  };
  if (compared(window.startTime()) < 0) return OQDecision::BeforeStart;
  if (compared(window.endTime()) > 0) return OQDecision::AfterEnd;
  // A refusal needs no other process.
  if (const auto refusal = _askRecord(window, refusalOf)) return *refusal;
  return _countIfStillAllowed(window);
}

std::optional<OQDecision> OQSDKManager::_askRecord(const OQWindowData& window, RecordRule rule) const {
  const Stored& stored = _stored();
  std::lock_guard lock(_displayMutex);
  return rule(stored.recordTree->findTreeNodeById(integerValue(window.windowId())).get());
}

OQDecision OQSDKManager::_countIfStillAllowed(const OQWindowData& window) {
  auto access = _shareRecords();
  if (!access) return OQDecision::RecordsBusy;
  {
    const Stored& stored = _stored();
    std::lock_guard lock(_displayMutex);
    const auto node = stored.recordTree->findTreeNodeById(integerValue(window.windowId()));
    if (const auto refusal = refusalOf(node.get())) return *refusal;
    _count(*node);
  }
  _writeRecords(std::move(access));
  return OQDecision::Shown;
}

void OQSDKManager::_count(OQRecordTreeNode& node) {
  node.setUsedCount(node.usedCount() + 1);
  node.setActivated(true);
  node.noteCountedInThisRun();
}

void OQSDKManager::syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node) {
  if (!node) return;
  auto access = _shareRecords();
  {
    std::lock_guard lock(_displayMutex);
    _count(*node);
  }
  _writeRecordsOrTryLater(std::move(access));
}

void OQSDKManager::clearTreeNodeActivateState() {
  Stored& stored = _stored();
  if (stored.treeNodesInit.exchange(true)) return;
  std::lock_guard lock(_displayMutex);
  _clearActivated(*stored.recordTree);
}

void OQSDKManager::_showWindowWithData(const std::shared_ptr<OQWindowData>& window) {
  _showWindowWithData(window, nullptr);
}

void OQSDKManager::_showWindowWithData(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event) {
  if (!window) return;
  const OQDecision decision = _decide(*window);
  _decisions.record(decision, event, window);
  if (decision != OQDecision::Shown) return;
  auto self = shared_from_this();
  auto action = [self, window](std::int64_t code, const JSONValue& link) {
    guarded([&] { self->_handleWindowAction(window, code, link); });
  };
  auto present = [self, window, action] { guarded([&] { self->presentWindow(window, action); }); };
  OQDispatchQueueManager::dispatchInMainThread(present, true);
}

void OQSDKManager::presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action) {
  makeMainObject<OQPopWindow>()->popWithData(window, std::move(action));
}

void OQSDKManager::_handleWindowAction(const std::shared_ptr<OQWindowData>& window, std::int64_t code,
                                       const JSONValue& link) {
  const auto clicked = [&](const char* entry) {
    OQLogger::log(entry);
    jumpToWebViewWithURLStr(link);
    reportWindowEventWithName("$clickDialog", code, *window);
  };
  switch (code) {
    case 1:
      OQLogger::log("显示弹窗，弹窗类型：%@", window->style());
      return reportWindowEventWithName("$impDialog", code, *window);
    case 2:
      return clicked("点击了弹窗图片");
    case 3:
      OQLogger::log("点击了弹窗关闭按钮");
      _markClosed(*window);
      return reportWindowEventWithName("$closeDialog", code, *window);
    case 4:
      return clicked("点击了弹窗left button");
    case 5:
      return clicked("点击了弹窗right button");
    case 6:
      return clicked("点击了弹窗middle button");
    default:
      return;
  }
}

void OQSDKManager::_markClosed(const OQWindowData& window) {
  auto access = _shareRecords();
  {
    const Stored& stored = _stored();
    std::lock_guard lock(_displayMutex);
    if (const auto node = stored.recordTree->findTreeNodeById(integerValue(window.windowId()))) {
      node->setUserClosed(true);
    }
  }
  _writeRecordsOrTryLater(std::move(access));
}

OQRecordStore::Access OQSDKManager::_shareRecords() {
  const Stored& stored = _stored();
  auto access = _records.access();
  if (!access) return access;
  if (const auto others = access.changesOfOthers()) {
    std::lock_guard lock(_displayMutex);
    stored.recordTree->adopt(*others);
  }
  return access;
}

void OQSDKManager::_writeRecords(OQRecordStore::Access access) {
  bool written = false;
  if (access) {
    const Stored& stored = _stored();
    OQRecordTree::Nodes::Vector nodes;
    {
      std::lock_guard lock(_displayMutex);
      nodes = stored.recordTree->copyOfNodes();
    }
    written = access.write(nodes);
  }
  logWritten(written, "syncRecordTree 成功！", "syncRecordTree 失败！");
}

void OQSDKManager::_writeRecordsOrTryLater(OQRecordStore::Access access) {
  if (access) return _writeRecords(std::move(access));
  if (_isWriteDue.exchange(true)) return;
  DispatchQueue::background().after(secondsUntilNextTry, [weak = weak_from_this()] {
    guarded([&] {
      const auto engine = weak.lock();
      if (!engine) return;
      engine->_isWriteDue = false;
      engine->_writeRecordsOrTryLater(engine->_shareRecords());
    });
  });
}

void OQSDKManager::syncRecordTree() {
  _stored();
  _writeRecords(_records.access());
}

void OQSDKManager::syncInAppData() {
  bool written = false;
  {
    std::lock_guard lock(_fileMutex);
    written = OQDataArchiver::setData(*inAppDataArray(), documentsDirectory() / OQInAppWindowDataFileName);
  }
  logWritten(written, "syncInAppData 成功！", "syncInAppData 失败！");
}

void OQSDKManager::syncSubscribeData() {
  bool written = false;
  {
    std::lock_guard lock(_fileMutex);
    written = OQDataArchiver::setData(*subscribeDataArray(), documentsDirectory() / OQSubscribeWindowDataFileName);
  }
  logWritten(written, "syncSubscribeData 成功！", "syncSubscribeData 失败！");
}

void OQSDKManager::reportWindowEventWithName(const std::optional<std::string>& name, std::int64_t type,
                                             const OQWindowData& window) {
  JSONDictionary context{{"$dialog_id", orEmptyText(window.windowId())}};
  if (type != 0) context["$dialog_type"] = type;
  _reportEvent(_eventNamed(name.value_or(""), std::move(context)));
}

void OQSDKManager::reportPushEventWithType(std::uint64_t type, const JSONValue& msg) {
  if (!msg.is_object() || type > 1) return;
  JSONDictionary context{{"$push_channel", orEmptyText(valueForKey(msg, "$push_channel"))},
                         {"activityId", orEmptyText(valueForKey(msg, "activityId"))}};
  _reportEvent(_eventNamed(type == 0 ? "$oq_push_delivery" : "$oq_push_click", std::move(context)));
}

std::shared_ptr<OQWindowEvent> OQSDKManager::_eventNamed(const std::string& name, JSONDictionary context) const {
  const Session session = _session();
  auto event = std::make_shared<OQWindowEvent>();
  event->setAppid(JSONValue(session.appid.value_or("")));
  event->setXwho(JSONValue(session.userId.value_or("")));
  event->setXwhen(currentMilliseconds());
  event->setXwhat(JSONValue(name));
  event->setXcontext(JSONValue(std::move(context)));
  return event;
}

void OQSDKManager::_reportEvent(const std::shared_ptr<OQWindowEvent>& event) {
  if (!event) return;
  _post("/push/sdk/in_app/callback", _eventRequestBody(*event), [event](OQSDKManager&, const auto& answer) {
    if (_isSuccess(answer)) OQLogger::log("上报事件成功, event:%@", event->toDictionary());
    OQLogger::log("上报事件 data:\n%@", answer);
  });
}

void OQSDKManager::jumpToWebViewWithURLStr(const JSONValue& url) {
  if (!isNonEmptyString(url)) return;
  if (const auto navigation = OQNavigation::currentNavigation()) {
    _openWebController(*navigation, std::string(url.get_string()));
  }
}

/// A web page that is open already makes room. What is popped is the top of the stack each time, and not
/// necessarily the page that was found; intentional.
void OQSDKManager::_openWebController(UINavigationController& navigation, const std::string& url) {
  for (std::size_t i = 0; i < navigation.viewControllers().size(); ++i) {
    if (std::dynamic_pointer_cast<OQWebController>(navigation.viewControllers()[i]))
      navigation.popViewControllerAnimated(false);
  }
  auto page = makeMainObject<OQWebController>();
  page->setUrlString(url);
  navigation.pushViewController(std::move(page), true);
}

}  // namespace oq
