// SPDX-License-Identifier: Apache-2.0
#include "c/Guard.h"

#include <glib.h>

#include <algorithm>
#include <cmath>

#include "Dispatch/DispatchQueue.h"
#include "Host/HostInstallation.h"
#include "c/ProgramHost.h"

namespace oq::c {

namespace {

constexpr std::size_t kLongestReason = 255;
/// Why the newest call on this thread has failed; "" if it has not. An array and not a std::string, so that it can be
/// set when memory has run out.
thread_local char lastError[kLongestReason + 1] = "";

}  // namespace

thread_local int CallScope::_depth = 0;

void setLastError(std::string_view reason) noexcept {
  std::size_t length = std::min(reason.size(), kLongestReason);
  // Does not cut off in the middle of a UTF-8 character: all bytes of a character but the first begin with the bits 10.
  while (length < reason.size() && length > 0 && (reason[length] & 0xC0) == 0x80) --length;
  std::copy_n(reason.data(), length, lastError);
  lastError[length] = '\0';
}

void requireHost() {
  if (ProgramHost::isGone()) throw Failure(OQ_ERROR_STATE, "The library was shut down.");
  if (!isProcessPrepared())
    throw Failure(OQ_ERROR_STATE, "No host is installed. Call oq_init(), or attach a window of a toolkit, first.");
}

void requireMainThread() {
  requireHost();
  if (DispatchQueue::currentLabel() != DispatchQueue::main().label())
    throw Failure(OQ_ERROR_THREAD, "This function must be called on the main thread.");
}

void requireNoCallback(const char* function) {
  if (CallScope::isNested()) throw Failure(OQ_ERROR_STATE, std::string(function) + "() was called in a callback.");
}

std::string required(const char* string, const char* name) {
  if (!string || !*string) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + (string ? " is empty." : " is NULL."));
  return optional(string, name);
}

std::string optional(const char* string, const char* name) {
  if (!string) return "";
  if (!g_utf8_validate(string, -1, nullptr)) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is not UTF-8.");
  return string;
}

void requireFinite(double number, const char* name) {
  if (!std::isfinite(number)) throw Failure(OQ_ERROR_ARGUMENT, std::string(name) + " is not a finite number.");
}

}  // namespace oq::c

extern "C" const char* oq_last_error(void) {
  return oq::c::lastError;
}
