// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <utility>

#include "Engine/OQHostPresentation.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Values/Date.h"
#include "Storage/OQImageDiskCache.h"
#include "UI/OQPopWindow.h"
#include "UI/OQPresentationQueue.h"
#include "Utils/OQConsent.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"

namespace oq {

namespace {

/// Runs the work on the main queue; immediately if the caller is there.
template <class Work>
void onMainQueue(Work work) {
  OQDispatchQueueManager::dispatchInMainThread([work = std::move(work)] { guarded(work); }, true);
}

}  // namespace

void OQSDKManager::setUser(const std::string& userId) {
  const std::string former = _session.get(&Session::userId).value_or("");
  if (former == userId) return;
  const bool isAnother = !former.empty();
  // The lists are emptied first: if the process ends in between, the next run does not match them for the new user.
  if (isAnother) {
    _store->dropCampaigns();
    _removeMessages();
  }
  _session.takeUser(JSONValue(userId), JSONValue(_session.get(&Session::appid).value_or("")));
  if (configuration() && !_session.get(&Session::token).value_or("").empty()) refresh();
}

void OQSDKManager::record(const std::string& event, const JSONValue& properties) {
  const Session session = _session.values();
  if (OQConsent::isMissing()) return;
  const JSONValue info{{"xwho", session.userId.value_or("")},
                       {"appid", session.appid.value_or("")},
                       {"xwhat", event},
                       {"xwhen", std::nearbyint(secondsSince1970(currentDate()) * 1000.0)},
                       {"xcontext", properties}};
  OQLogger::log("收到event回调：\n%@", info);
  _match(info);
}

void OQSDKManager::refresh() {
  const Session session = _session.values();
  if (session.token.value_or("").empty() || session.userId.value_or("").empty()) return;
  getSubscribeList();
  _fetchWindows();
}

void OQSDKManager::hold() {
  _control->setHeld(true);
  OQPresentationQueue::setHeld(true);
}

void OQSDKManager::resume() {
  _control->setHeld(false);
  OQPresentationQueue::setHeld(false);
}

void OQSDKManager::dismiss() {
  onMainQueue([] {
    if (!dismissNewestOfHost()) OQPopWindow::dismissNewest();
  });
}

void OQSDKManager::_removeMessages() {
  _control->dropAll();
  onMainQueue([] {
    OQPresentationQueue::shared().removeCampaigns();
    removeAllOfHost();
    OQPopWindow::removeAll();
  });
}

void OQSDKManager::withdraw() {
  _reports->removeAll();
  OQNetwork::cancelAll();
  _store->setWaitingEvents(OQCampaignStore::Kind::InApp, {});
  _store->setWaitingEvents(OQCampaignStore::Kind::Subscribe, {});
  _removeMessages();
}

void OQSDKManager::forget(bool keepDevice) {
  _store->forget();
  _removeMessages();
  _session.forget();
  _reports->removeAll();
  OQImageDiskCache::cache().removeAllCaches();
  OQLogger::removeFiles();
  if (!keepDevice) OQUtils::forgetUUID();
}

void OQSDKManager::_handleForgettingElsewhere() {
  _session.forget();
  _removeMessages();
}

}  // namespace oq
