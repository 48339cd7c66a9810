// SPDX-License-Identifier: Apache-2.0
#include "Foundation/System/Device.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <atomic>
#include <chrono>

#include "Foundation/Files/FileDescriptor.h"
#include "Foundation/Files/FileManager.h"
#include "Foundation/Values/Base64.h"

namespace oq {
namespace {

std::atomic<double> systemVersion{13.0};

constexpr std::size_t kIdentifierLength = 36;
constexpr auto kLongestWait = std::chrono::seconds(2);

std::filesystem::path identifierFile() {
  return preferencesDirectory() / "identifierForVendor";
}

/// The identifier in the file, or "" if the file has other contents.
std::string identifierIn(int file) {
  char text[kIdentifierLength + 1] = {};
  if (::pread(file, text, kIdentifierLength, 0) != static_cast<ssize_t>(kIdentifierLength)) return "";
  return g_uuid_string_is_valid(text) ? text : "";
}

bool keepIdentifier(int file, const std::string& identifier) {
  WriteSignalGuard guard;
  return ::fchmod(file, 0600) == 0 &&
         ::pwrite(file, identifier.data(), identifier.size(), 0) == static_cast<ssize_t>(identifier.size()) &&
         ::ftruncate(file, static_cast<off_t>(identifier.size())) == 0 && ::fsync(file) == 0;
}

}  // namespace

std::string operatingSystemVersion() {
  char* version = g_get_os_info(G_OS_INFO_KEY_VERSION_ID);
  std::string result = version ? version : "";
  g_free(version);
  return result;
}

std::string machineIdentifier() {
  utsname system{};
  return ::uname(&system) == 0 ? system.machine : "";
}

double platformSystemVersion() {
  return systemVersion.load(std::memory_order_relaxed);
}
void setPlatformSystemVersion(double version) {
  systemVersion.store(version, std::memory_order_relaxed);
}

void forgetIdentifierForVendor() {
  ::unlink(identifierFile().c_str());
}

std::string identifierForVendor() {
  auto path = identifierFile();
  FileDescriptor file;
  if (mayWriteFiles()) file = FileDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file) {
    FileDescriptor readable(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    return readable ? identifierIn(readable.get()) : "";
  }
  // If two processes start for the first time, one creates the identifier and the other reads it. A process that holds
  // the lock for longer than kLongestWait is not creating an identifier, so the wait ends then.
  bool isLocked = lockFile(file.get(), std::chrono::steady_clock::now() + kLongestWait);
  std::string identifier = identifierIn(file.get());
  if (!identifier.empty() || !isLocked) return identifier;
  identifier = uuidString();
  return keepIdentifier(file.get(), identifier) ? identifier : "";
}

}  // namespace oq
