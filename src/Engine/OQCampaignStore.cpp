// SPDX-License-Identifier: Apache-2.0
#include "Engine/OQCampaignStore.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Stores/UserDefaults.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/Number.h"
#include "Storage/OQDataArchiver.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {

constexpr const char* kLastUpdateKey = "OQWindowDataLastUpdateTime";
constexpr double kSecondsUntilNextTry = 1;
constexpr int kPatientAttempts = 20;

/// Reads the objects that an earlier run stored in the file; empty if there are none.
template <class T>
std::vector<std::shared_ptr<T>> restored(const char* fileName) {
  auto objects = OQDataArchiver::getDataForPath<T>(applicationDataDirectory() / "Documents" / fileName);
  return objects ? std::move(*objects) : std::vector<std::shared_ptr<T>>();
}

const char* fileNameOf(OQCampaignStore::Kind kind) {
  return kind == OQCampaignStore::Kind::InApp ? OQInAppWindowDataFileName : OQSubscribeWindowDataFileName;
}

void beginRun(const OQRecordTree& tree) {
  for (const auto& node : tree.copyOfNodes()) node->beginRun();
}

/// The web engine may take long to load, so it is prepared before a window needs it.
void prepareWebEngineFor(const OQCampaignList& list) {
  if (OQConsent::isMissing() || !list.leadsToPages()) return;
  DispatchQueue::main().async([] {
    if (!OQConsent::isMissing()) prepareWebEngine();
  });
}

void storeLastFetch(const PropertyValue& time) {
  auto defaults = UserDefaults::standardUserDefaults();
  defaults->setObject(time, kLastUpdateKey);
  defaults->synchronize();
}

void logWritten(const char* what, bool isWritten) {
  OQLogger::log("%@ %@！", what, isWritten ? "成功" : "失败");
}

}  // namespace

std::shared_ptr<const OQCampaignList> OQCampaignStore::makeList(Kind kind, Windows windows) {
  const bool heedsPreConditions = kind == Kind::InApp;
  return std::make_shared<const OQCampaignList>(std::move(windows), heedsPreConditions
                                                                        ? OQCampaignList::PreConditions::Heeded
                                                                        : OQCampaignList::PreConditions::Ignored);
}

void OQCampaignStore::restore() {
  if (_isRestored.load(std::memory_order_acquire)) return;
  std::unique_lock lock(_restoreMutex);
  if (_isRestored.load(std::memory_order_relaxed)) return;
  // Reads everything before it changes anything: if memory runs out, the next call tries again.
  auto inApp = makeList(Kind::InApp, restored<OQWindowData>(OQInAppWindowDataFileName));
  auto subscribe = makeList(Kind::Subscribe, restored<OQWindowData>(OQSubscribeWindowDataFileName));
  auto tree = OQRecordTree::treeWithNodes(std::make_shared<OQRecordTree::Nodes>(_records.read()));
  beginRun(*tree);
  of(Kind::InApp).list.exchange(inApp);
  of(Kind::Subscribe).list.exchange(std::move(subscribe));
  _recordTree = std::move(tree);
  _isActivatedCleared = true;
  _isRestored.store(true, std::memory_order_release);
  lock.unlock();
  // Called after the lock is released, because work for the main queue may wake the host's main loop.
  prepareWebEngineFor(*inApp);
}

std::shared_ptr<const OQCampaignList> OQCampaignStore::list(Kind kind) {
  restore();
  return of(kind).list.load();
}

void OQCampaignStore::setList(Kind kind, Windows windows) {
  restore();
  auto list = makeList(kind, std::move(windows));
  locked([&] { list = of(kind).list.exchange(std::move(list)); });
}

OQCampaignStore::Events OQCampaignStore::install(Kind kind, Windows windows, Generation generation) {
  restore();
  auto list = makeList(kind, std::move(windows));
  Events waited;
  const auto exchange = [&] {
    list = of(kind).list.exchange(std::move(list));
    waited.swap(of(kind).waiting);
  };
  if (kind == Kind::Subscribe) {
    // Subscriptions are never shown and have no records.
    const bool isCurrent = locked([&] {
      if (_generation != generation) return false;
      exchange();
      return true;
    });
    if (isCurrent) syncList(kind);
    return waited;
  }
  prepareWebEngineFor(*list);
  OQRecordTree& fresh = OQRecordTree::defaultTree();
  fresh.removeAllTreeNodes();
  for (const auto& window : list->windows()) fresh.addTreeNode(OQRecordTreeNode::recordFor(*window));
  {
    const auto access = shareRecords();
    const bool isCurrent = locked([&] {
      if (_generation != generation) return false;
      // The records are merged first: a reader may see the new list without the lock, and must then find the merged
      // records.
      _recordTree->updateWithTree(fresh);
      exchange();
      return true;
    });
    if (!isCurrent) return waited;
  }
  clearActivated();
  syncList(kind);
  writeRecordsOrTryLater(shareRecords());
  return waited;
}

void OQCampaignStore::syncList(Kind kind) {
  restore();
  bool isWritten = false;
  {
    std::lock_guard lock(_fileMutex);
    isWritten = OQDataArchiver::setData(of(kind).list.load()->windows(), documentsDirectory() / fileNameOf(kind));
  }
  logWritten(kind == Kind::InApp ? "syncInAppData" : "syncSubscribeData", isWritten);
}

void OQCampaignStore::beginGeneration(Records records, const std::function<void()>& replaceUser) {
  restore();
  // The former lists, events and records are swapped into these variables and destroyed after the lock is released.
  std::array<std::shared_ptr<const OQCampaignList>, 2> lists{makeList(Kind::InApp, {}), makeList(Kind::Subscribe, {})};
  std::array<Events, 2> waiting;
  auto tree = std::make_shared<OQRecordTree>();
  locked([&] {
    for (std::size_t i = 0; i < _campaigns.size(); ++i) {
      lists[i] = _campaigns[i].list.exchange(std::move(lists[i]));
      waiting[i].swap(_campaigns[i].waiting);
    }
    if (records == Records::Remove) {
      _recordTree.swap(tree);
      _isForgettingDue = true;
    }
    // The generation changes last, so that a thread that reads the new one also sees the new user.
    replaceUser();
    ++_generation;
  });
}

bool OQCampaignStore::wasFetchedToday() {
  const PropertyValue stored = UserDefaults::standardUserDefaults()->objectForKey(kLastUpdateKey);
  const Date* last = std::get_if<Date>(&stored);
  return OQUtils::isSameDay(currentDate(), last ? std::optional(*last) : std::nullopt);
}

void OQCampaignStore::noteFetchedToday() {
  storeLastFetch(currentDate());
}

void OQCampaignStore::storeGeneration(Records records) {
  storeLastFetch(JSONValue());
  syncList(Kind::InApp);
  syncList(Kind::Subscribe);
  if (records == Records::Remove) writeRecordsOrTryLater(patientAccess());
}

/// Like shareRecords(), but tries up to kPatientAttempts times: the removal of the records may wait longer than a
/// decision.
OQRecordStore::Access OQCampaignStore::patientAccess() {
  for (int attempt = 1; attempt < kPatientAttempts; ++attempt) {
    if (auto access = shareRecords()) return access;
  }
  return shareRecords();
}

OQCampaignStore::Turn OQCampaignStore::listOrWait(Kind kind, const std::shared_ptr<OQWindowEvent>& event,
                                                  Generation generation) {
  const Turn outdated{nullptr, false, true};
  auto current = list(kind);
  if (!current->empty()) return generation == this->generation() ? Turn{current} : outdated;
  return locked([&]() -> Turn {
    if (generation != this->generation()) return outdated;
    // The list is read again under the lock with which lists are installed. So every event that is stored here is
    // replayed when a list arrives.
    current = of(kind).list.load();
    if (!current->empty()) return {current};
    Events& waiting = of(kind).waiting;
    if (std::ranges::find(waiting, event) != waiting.end()) return {nullptr};
    // Intentional: if the array is full, the oldest events are kept and the new one is dropped.
    if (static_cast<std::int64_t>(waiting.size()) >= maxWaitingEvents()) return {nullptr, true};
    waiting.push_back(event);
    return {nullptr};
  });
}

OQCampaignStore::Events OQCampaignStore::waitingEvents(Kind kind) const {
  return locked([&] { return of(kind).waiting; });
}

void OQCampaignStore::setWaitingEvents(Kind kind, Events events) {
  locked([&] { of(kind).waiting.swap(events); });
}

std::shared_ptr<OQRecordTree> OQCampaignStore::recordTree() {
  restore();
  return locked([&] { return _recordTree; });
}

void OQCampaignStore::setRecordTree(std::shared_ptr<OQRecordTree> tree) {
  restore();
  if (!tree) tree = std::make_shared<OQRecordTree>();
  locked([&] { _recordTree.swap(tree); });
}

OQCampaignStore::Record OQCampaignStore::recordOf(const OQWindowData& window) {
  restore();
  return locked([&] { return _recordTree->findTreeNodeById(integerValue(window.windowId())); });
}

void OQCampaignStore::count(OQRecordTreeNode& record) {
  record.setUsedCount(record.usedCount() + 1);
  record.setActivated(true);
  record.noteCountedInThisRun();
}

void OQCampaignStore::countDisplay(OQRecordTreeNode& record) {
  auto access = shareRecords();
  locked([&] { count(record); });
  writeRecordsOrTryLater(std::move(access));
}

void OQCampaignStore::markClosed(const OQWindowData& window) {
  auto access = shareRecords();
  if (const Record record = recordOf(window)) record->setUserClosed(true);
  writeRecordsOrTryLater(std::move(access));
}

void OQCampaignStore::clearActivated() {
  restore();
  if (_isActivatedCleared.exchange(true)) return;
  locked([&] { beginRun(*_recordTree); });
}

bool OQCampaignStore::isActivatedCleared() {
  restore();
  return _isActivatedCleared;
}

void OQCampaignStore::setActivatedCleared(bool isCleared) {
  restore();
  _isActivatedCleared = isCleared;
}

OQRecordStore::Access OQCampaignStore::shareRecords() {
  restore();
  auto access = _records.access();
  if (!access) return access;
  if (_isForgettingDue.exchange(false)) {
    // Reads what other processes have written and ignores it, so that it counts as known: their records are removed,
    // too.
    access.changesOfOthers();
    access.noteForgetting();
    return access;
  }
  if (const auto others = access.changesOfOthers()) {
    if (access.wasForgottenElsewhere()) {
      beginGeneration(Records::Remove, [this] {
        _isForgottenElsewhere = true;
        _isForgettingDue = false;  // that process has notified all others
      });
    }
    locked([&] { _recordTree->adopt(*others); });
  }
  return access;
}

void OQCampaignStore::writeRecords(OQRecordStore::Access access) {
  const auto nodes = [&] { return locked([&] { return _recordTree->copyOfNodes(); }); };
  logWritten("syncRecordTree", access && access.write(nodes()));
}

void OQCampaignStore::writeRecordsOrTryLater(OQRecordStore::Access access) {
  if (access) return writeRecords(std::move(access));
  if (_isWriteDue.exchange(true)) return;
  DispatchQueue::background().after(kSecondsUntilNextTry, [weak = weak_from_this()] {
    guarded([&] {
      const auto store = weak.lock();
      if (!store) return;
      store->_isWriteDue = false;
      std::optional<UnconditionalWrites> forgetting;
      if (store->_isForgettingDue) forgetting.emplace();
      store->writeRecordsOrTryLater(store->shareRecords());
    });
  });
}

void OQCampaignStore::syncRecords() {
  restore();
  writeRecords(_records.access());
}

}  // namespace oq
