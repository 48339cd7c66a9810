// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Stores/ReadOnlySQLite.h"

#include <sqlite3.h>

namespace oq {

namespace {

constexpr const char* kName = "oq-read-only";

int openForReading(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* resultingFlags) {
  constexpr int Writing = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_DELETEONCLOSE;
  sqlite3_vfs* usual = sqlite3_vfs_find(nullptr);
  return usual->xOpen(usual, name, file, (flags & ~Writing) | SQLITE_OPEN_READONLY, resultingFlags);
}

int refuseToRemove(sqlite3_vfs*, const char*, int) {
  return SQLITE_READONLY;
}

bool registerVFS() {
  const sqlite3_vfs* usual = sqlite3_vfs_find(nullptr);
  if (!usual) return false;
  static sqlite3_vfs ours;
  ours = *usual;
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
