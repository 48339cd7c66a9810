// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// The name of an SQLite VFS that opens every file only for reading, removes none and takes no locks; nullptr if it
/// cannot be registered. (A read-only connection of the usual VFS creates the files of the log, opens them for writing,
/// and sets their owner.) A database in WAL mode needs "PRAGMA locking_mode=EXCLUSIVE", so that the index of the log is
/// in memory. While another process writes, the result may be an error or an earlier value. Thread-safe.
const char* readOnlySQLiteVFS();

}  // namespace oq
