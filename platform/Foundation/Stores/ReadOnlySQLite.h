// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// The name of an SQLite VFS that opens every file only for reading and removes none; nullptr if it cannot be
/// registered. (A read-only connection of the usual VFS opens or creates the log for writing.) A database in WAL mode
/// is opened through it with "readonly_shm=1". Thread-safe.
const char* readOnlySQLiteVFS();

}  // namespace oq
