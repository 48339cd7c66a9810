// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <cmath>
#include <mutex>
#include <utility>

#include "Engine/OQHostPresentation.h"
#include "Engine/OQSDKManager.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Pages/OQWebController.h"
#include "Storage/OQImageDiskCache.h"
#include "UI/OQPopWindow.h"
#include "UI/OQPresentationQueue.h"
#include "Utils/OQConsent.h"
#include "Utils/OQDispatchQueueManager.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {

using Records = OQCampaignStore::Records;

/// Runs the work on the main queue; immediately if the caller is already there.
template <class Work>
void onMainQueue(Work work) {
  OQDispatchQueueManager::dispatchInMainThread([work = std::move(work)] { guarded(work); }, true);
}

/// Keeps the user id that the host has set in memory until it may be stored.
class PendingUser {
 public:
  std::string exchange(std::string userId) {
    std::lock_guard lock(_mutex);
    return std::exchange(_userId, std::move(userId));
  }

 private:
  std::mutex _mutex;
  std::string _userId;
};

PendingUser& pendingUser() {
  static auto& user = *new PendingUser;
  return user;
}

std::atomic<bool> isEngineStarted{false};

}  // namespace

bool OQSDKManager::isStarted() {
  return isEngineStarted;
}

void OQSDKManager::_noteStarted() {
  isEngineStarted = true;
}

void OQSDKManager::setUserWhenPossible(const std::string& userId) {
  pendingUser().exchange(userId);
  if (isStarted()) sharedManager()._takePendingUser();
}

void OQSDKManager::_takePendingUser() {
  if (OQConsent::isMissing()) return;
  const std::string userId = pendingUser().exchange("");
  if (!userId.empty()) setUser(userId);
}

void OQSDKManager::proceedWithConsent() {
  _takePendingUser();
  login();
}

void OQSDKManager::setUser(const std::string& userId) {
  // If another process has forgotten the former user, this process must notice it now. If it noticed it later, it would
  // remove the new user.
  _store->shareRecords();
  _followForgetting();
  bool isAnother = false;
  {
    std::lock_guard lock(_userMutex);
    const std::string former = _session.get(&Session::userId).value_or("");
    if (former == userId) return;
    isAnother = !former.empty();
    const auto replace = [&] { _session.setUser(userId); };
    if (isAnother) {
      _store->beginGeneration(Records::Keep, replace);
    } else {
      replace();
    }
  }
  // The empty lists are stored before the new user: if the process ends in between, the next run must not match the new
  // user's events against the former user's lists.
  if (isAnother) _store->storeGeneration(Records::Keep);
  _storeSession();
  if (isAnother) _removeMessages();
  if (isStarted()) refresh();
}

void OQSDKManager::_storeSession() {
  std::lock_guard lock(_userMutex);
  _session.store();
}

void OQSDKManager::record(const std::string& event, const JSONValue& properties) {
  if (OQConsent::isMissing()) return;
  // The generation is read before the user: if the user changes from now on, the event shows nothing.
  const auto generation = _store->generation();
  const Session session = _session.values();
  const JSONValue info{{"xwho", session.userId.value_or("")},
                       {"appid", session.appid.value_or("")},
                       {"xwhat", event},
                       {"xwhen", std::nearbyint(secondsSince1970(currentDate()) * 1000.0)},
                       {"xcontext", properties}};
  OQLogger::log("收到event回调：\n%@", info);
  _match(info, generation);
}

void OQSDKManager::refresh() {
  // When the login is answered, getListData() is called anyway.
  if (!_isLoggedIn) return;
  const Session session = _session.values();
  if (session.token.value_or("").empty() || session.userId.value_or("").empty()) return;
  getSubscribeList();
  _fetchWindows();
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
    OQWebController::closeAll();
  });
}

void OQSDKManager::withdraw() {
  _store->setWaitingEvents(OQCampaignStore::Kind::InApp, {});
  _store->setWaitingEvents(OQCampaignStore::Kind::Subscribe, {});
  {
    const UnconditionalWrites removing;
    _reports->removeAll();
  }
  OQNetwork::cancelAll();
  _removeMessages();
}

void OQSDKManager::forget(bool keepDevice) {
  pendingUser().exchange("");
  {
    // Allows this thread to remove files even after consent was withdrawn.
    const UnconditionalWrites removing;
    {
      std::lock_guard lock(_userMutex);
      _store->beginGeneration(Records::Remove, [this] { _forgetUser(); });
    }
    _reports->removeAll();
    OQNetwork::cancelAll();
    _storeSession();
    _store->storeGeneration(Records::Remove);
    OQImageDiskCache::cache().removeAllCaches();
    OQLogger::removeFiles();
    if (!keepDevice) OQUtils::forgetUUID();
    // The write-ahead log of a database may still contain removed values until the database is closed.
    closeAllUserDefaults();
  }
  _removeMessages();
  onMainQueue([] {
    const UnconditionalWrites removing;
    removeWebData();
  });
}

void OQSDKManager::_forgetUser() {
  ++_forgettings;
  _session.forget();
  _isTester = false;
  _isLoggedIn = false;
}

void OQSDKManager::_followForgetting() {
  if (!_store->wasForgottenElsewhere()) return;
  {
    std::lock_guard lock(_userMutex);
    _forgetUser();
  }
  _removeMessages();
}

}  // namespace oq
