// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Stores/ReadOnlySQLite.h"

#include <sqlite3.h>

namespace oq {

namespace {

constexpr const char *kName = "oq-read-only", *kWithoutLocks = "unix-none";

int openForReading(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* resultingFlags) {
  constexpr int Writing = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_DELETEONCLOSE;
  flags = (flags & ~Writing) | SQLITE_OPEN_READONLY;
  // Opens the log as a file of another kind: if the process runs as root, SQLite changes the owner of a file that it
  // opens as a log.
  if (flags & SQLITE_OPEN_WAL) flags ^= SQLITE_OPEN_WAL | SQLITE_OPEN_SUBJOURNAL;
  sqlite3_vfs* base = sqlite3_vfs_find(kWithoutLocks);
  return base->xOpen(base, name, file, flags, resultingFlags);
}

int refuseToRemove(sqlite3_vfs*, const char*, int) {
  return SQLITE_READONLY;
}

bool registerVFS() {
  const sqlite3_vfs* base = sqlite3_vfs_find(kWithoutLocks);
  if (!base) return false;
  static sqlite3_vfs ours;
  ours = *base;
  ours.pNext = nullptr;
  ours.zName = kName;
  ours.xOpen = openForReading;
  ours.xDelete = refuseToRemove;
  return sqlite3_vfs_register(&ours, 0) == SQLITE_OK;
}

}  // namespace

const char* readOnlySQLiteVFS() {
  static const bool isRegistered = registerVFS();
  return isRegistered ? kName : nullptr;
}

}  // namespace oq
