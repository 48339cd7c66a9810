#include "Storage/OQRecordStore.h"

#include <utility>

#include "Storage/OQDataArchiver.h"

namespace oq {

namespace {

constexpr auto Patience = std::chrono::milliseconds(250);
constexpr auto PatienceWhenBlocked = std::chrono::milliseconds(20);

}  // namespace

OQRecordStore::Nodes OQRecordStore::read() {
  auto nodes =
      OQDataArchiver::getDataForPath<OQRecordTreeNode>(documentsDirectory() / OQRecordTreeDataFileName, &_known);
  return nodes ? std::move(*nodes) : Nodes();
}

OQRecordStore::Access OQRecordStore::access() {
  const auto start = Clock::now();
  auto folder = documentsDirectory();
  if (!takeTurn(start + Patience)) return Access();
  // Ends the turn unless it gets the lock.
  Access access(*this, FileLock(), std::move(folder));
  auto lock = FileLock::take(access._file / OQRecordTreeLockFileName,
                             start + (_isBlocked ? PatienceWhenBlocked : Patience));
  _isBlocked = !lock;
  if (!lock) return Access();
  access._lock = std::move(*lock);
  access._file /= OQRecordTreeDataFileName;
  return access;
}

bool OQRecordStore::takeTurn(Clock::time_point deadline) {
  std::unique_lock lock(_mutex);
  if (!_turnEnded.wait_until(lock, deadline, [this] { return !_isInUse; })) return false;
  _isInUse = true;
  return true;
}

void OQRecordStore::endTurn() {
  {
    std::lock_guard lock(_mutex);
    _isInUse = false;
  }
  _turnEnded.notify_one();
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
