// SPDX-License-Identifier: Apache-2.0
#include "Storage/OQRecordStore.h"

#include <algorithm>
#include <utility>

#include "Foundation/Files/FileManager.h"
#include "Storage/OQDataArchiver.h"

namespace oq {

namespace {

constexpr auto kPatience = std::chrono::milliseconds(250);
constexpr auto kPatienceWhenBlocked = std::chrono::milliseconds(20);

/// The documents folder. Unlike documentsDirectory(), this does not create it: reading must not create a folder.
std::filesystem::path readableFolder() {
  return applicationDataDirectory() / "Documents";
}

std::filesystem::path forgettingFile() {
  return readableFolder() / OQForgettingFileName;
}

}  // namespace

OQRecordStore::Nodes OQRecordStore::read() {
  // This is read before the records: if another process forgets the user between the two reads, the next access notices
  // it.
  _forgetting = FileVersion::at(forgettingFile());
  auto nodes = OQDataArchiver::getDataForPath<OQRecordTreeNode>(readableFolder() / OQRecordTreeDataFileName, &_known);
  return nodes ? std::move(*nodes) : Nodes();
}

OQRecordStore::Access OQRecordStore::access() {
  const auto folder = documentsDirectory();
  std::optional<Clock::time_point> deadline;
  if (!takeTurn(deadline)) return Access();
  // If no lock is obtained, the destructor of `access` ends the turn.
  Access access(*this, FileLock(), folder / OQRecordTreeDataFileName);
  const auto lockFile = folder / OQRecordTreeLockFileName;
  auto lock = _lockFile.take(lockFile, Clock::time_point::min());
  if (lock) {
    _blocked.reset();
  } else {
    lock = wait(lockFile, access._file, deadline.value_or(Clock::now() + kPatience));
  }
  if (!lock) return Access();
  access._lock = std::move(*lock);
  return access;
}

std::optional<FileLock> OQRecordStore::wait(const std::filesystem::path& lockFile, const std::filesystem::path& archive,
                                            Clock::time_point deadline) {
  auto before = FileVersion::at(archive);
  const auto start = Clock::now();
  if (_blocked && _blocked->isStillAt(archive)) deadline = std::min(deadline, start + kPatienceWhenBlocked);
  setWaiting(true);
  auto lock = _lockFile.take(lockFile, deadline);
  setWaiting(false);
  if (lock) {
    _blocked.reset();
  } else if (deadline - start >= kPatienceWhenBlocked) {  // A shorter wait does not show that the holder is stuck.
    // A holder that writes is not stuck.
    _blocked = before.isStillAt(archive) ? std::optional(std::move(before)) : std::nullopt;
  }
  return lock;
}

bool OQRecordStore::takeTurn(std::optional<Clock::time_point>& deadline) {
  std::unique_lock lock(_mutex);
  while (_isInUse) {
    if (!_isWaiting) {
      _changed.wait(lock);
      continue;
    }
    if (!deadline) deadline = Clock::now() + kPatience;
    const bool isLate = _changed.wait_until(lock, *deadline) == std::cv_status::timeout;
    if (isLate && _isInUse && _isWaiting) return false;
  }
  _isInUse = true;
  return true;
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
  const Data archive = OQDataArchiver::archiveOf(nodes);
  // Collected now, while the nodes are in the processor's cache. After the wait for the disk, this loop would take much
  // longer.
  Nodes changed;
  for (const auto& node : nodes) {
    if (node && node->hasNewsForFile()) changed.push_back(node);
  }
  const bool isWritten = writeFileAtomically(_file, archive, [&](FileVersion written) {
    for (const auto& node : changed) node->noteStored();
    _store->_known = std::move(written);
    release();
  });
  release();
  return isWritten;
}

bool OQRecordStore::Access::wasForgottenElsewhere() {
  if (_store->_forgetting.isStillAt(forgettingFile())) return false;
  _store->_forgetting = FileVersion::at(forgettingFile());
  return true;
}

void OQRecordStore::Access::noteForgetting() {
  writeFileAtomically(forgettingFile(), {});
  _store->_forgetting = FileVersion::at(forgettingFile());
}

void OQRecordStore::Access::release() {
  _lock = FileLock();
  if (_store) std::exchange(_store, nullptr)->endTurn();
}

}  // namespace oq
