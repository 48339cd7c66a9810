// Not under ThreadSanitizer: it leaves the calls of libraries alone that were not built for it, but a stand-in's call
// would be none of theirs, and it would see half of what they do with a descriptor.
#ifndef __SANITIZE_THREAD__

#include "support/Faults.h"

#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace oq::test {
namespace {

/// Requests that are still let through, the one that fails included; 0 when none is to fail.
std::atomic<int> callsLeft{0}, stepsLeft{0}, allocationsLeft{0};
std::atomic<bool> isArmed{false}, writeIsTorn{false};
thread_local unsigned long threadAllocations = 0;

std::atomic<int>& leftOf(Faults::Kind kind) {
  if (kind == Faults::Kind::databaseStep) return stepsLeft;
  return kind == Faults::Kind::fileCall ? callsLeft : allocationsLeft;
}

bool isLast(std::atomic<int>& left) {
  if (left.load(std::memory_order_relaxed) <= 0) return false;
  return left.fetch_sub(1) == 1;
}

/// Whether this call is the one that fails; sets the error.
bool failsNow() {
  if (!isLast(callsLeft)) return false;
  errno = ENOSPC;
  return true;
}

/// What a write of so many bytes may do: all, half of them, or nothing.
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
  callsLeft = stepsLeft = allocationsLeft = 0;
  isArmed = writeIsTorn = false;
}

bool Faults::Armed::hasStruck() const {
  return callsLeft <= 0 && stepsLeft <= 0 && allocationsLeft <= 0;
}

unsigned long Faults::allocationsOfThread() {
  return threadAllocations;
}

}  // namespace oq::test

using namespace oq::test;

/// Stands in for the system's function of that name, in this program and in the libraries that it has loaded.
#define STAND_IN extern "C" __attribute__((visibility("default")))
#define REAL(name) static auto* const real = next(#name, &::name)

#define STAND_IN_FOR_OPEN(name)                               \
  STAND_IN int name(const char* path, int flags, ...) {       \
    REAL(name);                                               \
    va_list rest;                                             \
    va_start(rest, flags);                                    \
    mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0; \
    va_end(rest);                                             \
    return failsNow() ? -1 : real(path, flags, mode);         \
  }
STAND_IN_FOR_OPEN(open)
STAND_IN_FOR_OPEN(open64)

#define STAND_IN_FOR_OPENAT(name)                                   \
  STAND_IN int name(int folder, const char* path, int flags, ...) { \
    REAL(name);                                                     \
    va_list rest;                                                   \
    va_start(rest, flags);                                          \
    mode_t mode = flags & O_CREAT ? va_arg(rest, mode_t) : 0;       \
    va_end(rest);                                                   \
    return failsNow() ? -1 : real(folder, path, flags, mode);       \
  }
STAND_IN_FOR_OPENAT(openat)
STAND_IN_FOR_OPENAT(openat64)

STAND_IN ssize_t write(int file, const void* bytes, size_t count) {
  REAL(write);
  ssize_t allowed = allowedBytes(count);
  return allowed < 0 ? allowed : real(file, bytes, static_cast<size_t>(allowed));
}

#define STAND_IN_FOR_PWRITE(name, offset_type)                                                \
  STAND_IN ssize_t name(int file, const void* bytes, size_t count, offset_type position) {    \
    REAL(name);                                                                               \
    ssize_t allowed = allowedBytes(count);                                                    \
    return allowed < 0 ? allowed : real(file, bytes, static_cast<size_t>(allowed), position); \
  }
STAND_IN_FOR_PWRITE(pwrite, off_t)
STAND_IN_FOR_PWRITE(pwrite64, off64_t)

#define STAND_IN_FOR_FLUSH(name)     \
  STAND_IN int name(int file) {      \
    REAL(name);                      \
    if (failsNow()) return -1;       \
    return isArmed ? 0 : real(file); \
  }
STAND_IN_FOR_FLUSH(fsync)
STAND_IN_FOR_FLUSH(fdatasync)

STAND_IN int mkostemp(char* pattern, int flags) {
  REAL(mkostemp);
  return failsNow() ? -1 : real(pattern, flags);
}

#define STAND_IN_FOR(name, First, Second)             \
  STAND_IN int name(First one, Second two) noexcept { \
    REAL(name);                                       \
    return failsNow() ? -1 : real(one, two);          \
  }
STAND_IN_FOR(rename, const char*, const char*)
STAND_IN_FOR(mkdir, const char*, mode_t)
STAND_IN_FOR(chmod, const char*, mode_t)
STAND_IN_FOR(fchmod, int, mode_t)
STAND_IN_FOR(ftruncate, int, off_t)
STAND_IN_FOR(ftruncate64, int, off64_t)

STAND_IN int sqlite3_step(sqlite3_stmt* statement) {
  REAL(sqlite3_step);
  return isLast(stepsLeft) ? SQLITE_IOERR : real(statement);
}

#ifndef __SANITIZE_ADDRESS__

void* operator new(std::size_t size) {
  ++threadAllocations;
  void* memory = isLast(allocationsLeft) ? nullptr : std::malloc(size ? size : 1);
  if (!memory) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

#endif

#endif
