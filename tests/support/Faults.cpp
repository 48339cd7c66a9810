// SPDX-License-Identifier: Apache-2.0

// There are no replacements under ThreadSanitizer. It ignores the calls of libraries that were not built for it, but
// not the calls that our replacements make for them. So it would see only a part of what such a library does with a
// descriptor, and report races that do not exist.
#ifndef __SANITIZE_THREAD__

#include "support/Faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace oq::test {
namespace {

/// The number of calls up to and including the one that fails; 0 if no call should fail.
std::atomic<int> callsLeft{0}, stepsLeft{0};
std::atomic<bool> isArmed{false}, writeIsTorn{false};

std::atomic<int>& leftOf(Faults::Kind kind) {
  return kind == Faults::Kind::databaseStep ? stepsLeft : callsLeft;
}

bool isLast(std::atomic<int>& left) {
  if (left.load(std::memory_order_relaxed) <= 0) return false;
  return left.fetch_sub(1) == 1;
}

/// Returns true and sets errno if this call must fail.
bool failsNow() {
  if (!isLast(callsLeft)) return false;
  errno = ENOSPC;
  return true;
}

/// The number of bytes that a write may write: all, half of them, or -1 for a failure.
ssize_t allowedBytes(size_t count) {
  bool isRest = writeIsTorn.exchange(false);
  if (isRest || failsNow()) {
    errno = ENOSPC;
    if (isRest || count < 2) return -1;
    writeIsTorn = true;
    return static_cast<ssize_t>(count / 2);
  }
  return static_cast<ssize_t>(count);
}

template <class Function>
Function* next(const char* name, Function*) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

Faults::Armed::Armed(Kind kind, int number) {
  writeIsTorn = false;
  isArmed = true;
  leftOf(kind) = number;
}

Faults::Armed::~Armed() {
  callsLeft = stepsLeft = 0;
  isArmed = writeIsTorn = false;
}

bool Faults::Armed::hasStruck() const {
  return callsLeft <= 0 && stepsLeft <= 0;
}

}  // namespace oq::test

using namespace oq::test;

/// Replaces the system's function of this name, in this program and in the libraries that it loads.
#define REPLACE extern "C" __attribute__((visibility("default")))
#define REAL(name) static auto* const real = next(#name, &::name)

#define REPLACE_FOR_OPEN(name, parameters, ...)               \
  REPLACE int name parameters {                               \
    REAL(name);                                               \
    va_list rest;                                             \
    va_start(rest, flags);                                    \
    mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                             \
    return failsNow() ? -1 : real(__VA_ARGS__, flags, mode);  \
  }
REPLACE_FOR_OPEN(open, (const char* path, int flags, ...), path)
REPLACE_FOR_OPEN(open64, (const char* path, int flags, ...), path)
REPLACE_FOR_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path)
REPLACE_FOR_OPEN(openat64, (int folder, const char* path, int flags, ...), folder, path)

#define REPLACE_FOR_WRITE(name, parameters, ...)                                                \
  REPLACE ssize_t name parameters {                                                             \
    REAL(name);                                                                                 \
    ssize_t allowed = allowedBytes(count);                                                      \
    return allowed < 0 ? allowed : real(file, bytes, static_cast<size_t>(allowed) __VA_ARGS__); \
  }
REPLACE_FOR_WRITE(write, (int file, const void* bytes, size_t count))
REPLACE_FOR_WRITE(pwrite, (int file, const void* bytes, size_t count, off_t position), , position)
REPLACE_FOR_WRITE(pwrite64, (int file, const void* bytes, size_t count, off64_t position), , position)

#define REPLACE_FOR_FLUSH(name)      \
  REPLACE int name(int file) {       \
    REAL(name);                      \
    if (failsNow()) return -1;       \
    return isArmed ? 0 : real(file); \
  }
REPLACE_FOR_FLUSH(fsync)
REPLACE_FOR_FLUSH(fdatasync)

REPLACE int mkostemp(char* pattern, int flags) {
  REAL(mkostemp);
  return failsNow() ? -1 : real(pattern, flags);
}

#define REPLACE_FOR(name, First, Second)             \
  REPLACE int name(First one, Second two) noexcept { \
    REAL(name);                                      \
    return failsNow() ? -1 : real(one, two);         \
  }
REPLACE_FOR(rename, const char*, const char*)
REPLACE_FOR(mkdir, const char*, mode_t)
REPLACE_FOR(chmod, const char*, mode_t)
REPLACE_FOR(fchmod, int, mode_t)
REPLACE_FOR(ftruncate, int, off_t)
REPLACE_FOR(ftruncate64, int, off64_t)

REPLACE int sqlite3_step(sqlite3_stmt* statement) {
  REAL(sqlite3_step);
  return isLast(stepsLeft) ? SQLITE_IOERR : real(statement);
}

#endif
