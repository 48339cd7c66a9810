#include "Storage/OQRecordStore.h"

#include <algorithm>
#include <utility>

#include "Storage/OQDataArchiver.h"

namespace oq {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(250);
constexpr auto kPatienceWhenBlocked = std::chrono::milliseconds(20);

}  // namespace

OQRecordStore::Nodes OQRecordStore::read() {
  auto nodes =
      OQDataArchiver::getDataForPath<OQRecordTreeNode>(documentsDirectory() / OQRecordTreeDataFileName, &_known);
  return nodes ? std::move(*nodes) : Nodes();
}

OQRecordStore::Access OQRecordStore::access() {
  auto folder = documentsDirectory();
  const auto deadline = takeTurn();
  if (!deadline) return Access();
  // Ends the turn unless it gets the lock.
  Access access(*this, FileLock(), std::move(folder));
  auto lock = this->lock(access._file / OQRecordTreeLockFileName, *deadline);
  if (!lock) return Access();
  access._lock = std::move(*lock);
  access._file /= OQRecordTreeDataFileName;
  return access;
}

std::optional<FileLock> OQRecordStore::lock(const std::filesystem::path& file, Clock::time_point deadline) {
  auto lock = FileLock::take(file, Clock::time_point::min());
  if (!lock) {
    setWaiting(true);
    if (_isBlocked) deadline = std::min(deadline, Clock::now() + kPatienceWhenBlocked);
    lock = FileLock::take(file, deadline);
    setWaiting(false);
  }
  _isBlocked = !lock;
  return lock;
}

std::optional<OQRecordStore::Clock::time_point> OQRecordStore::takeTurn() {
  auto deadline = Clock::now() + kPatience;
  bool hasWaitedForOthers = false;
  std::unique_lock lock(_mutex);
  while (_isInUse) {
    hasWaitedForOthers |= _isWaiting;
    if (!_isWaiting) {
      _changed.wait(lock);
    } else if (_changed.wait_until(lock, deadline) == std::cv_status::timeout && _isInUse && _isWaiting) {
      return std::nullopt;
    }
  }
  _isInUse = true;
  return hasWaitedForOthers ? deadline : Clock::now() + kPatience;
}

void OQRecordStore::setWaiting(bool isWaiting) {
  {
    std::lock_guard lock(_mutex);
    _isWaiting = isWaiting;
  }
  _changed.notify_all();
}

void OQRecordStore::endTurn() {
  {
    std::lock_guard lock(_mutex);
    _isInUse = false;
  }
  _changed.notify_all();
}

OQRecordStore::Access::Access(OQRecordStore& store, FileLock lock, std::filesystem::path file)
    : _store(&store), _lock(std::move(lock)), _file(std::move(file)) {}

OQRecordStore::Access::Access(Access&& other) noexcept
    : _store(std::exchange(other._store, nullptr)), _lock(std::move(other._lock)), _file(std::move(other._file)) {}

std::optional<OQRecordStore::Nodes> OQRecordStore::Access::changesOfOthers() {
  if (_store->_known.isStillAt(_file)) return std::nullopt;
  return OQDataArchiver::getDataForPath<OQRecordTreeNode>(_file, &_store->_known);
}

bool OQRecordStore::Access::write(const Nodes& nodes) {
  const bool isWritten = OQDataArchiver::setData(nodes, _file, [&](FileVersion written) {
    for (const auto& node : nodes) {
      if (node) node->noteStored();
    }
    _store->_known = std::move(written);
    release();
  });
  release();
  return isWritten;
}

void OQRecordStore::Access::release() {
  _lock = FileLock();
  if (_store) std::exchange(_store, nullptr)->endTurn();
}

}  // namespace oq
