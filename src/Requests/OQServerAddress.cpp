// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerAddress.h"

#include <cstdlib>

#include <array>
#include <mutex>
#include <utility>

#include "Foundation/Networking/URL.h"
#include "Foundation/Values/Format.h"
#include "Storage/OQUserDefaults.h"
#include "oqsdk/TorvelinOqConfig.h"

namespace oq {

namespace {

constexpr const char* kVariable = "OQSDK_SERVER";

/// The default addresses, indexed by the number of the environment.
constexpr std::array<const char*, 3> kDefaults = {
    "https://" OQSDK_PRODUCTION_HOST ":8088",
    "https://" OQSDK_TEST_HOST ":28088",
    "https://" OQSDK_DEVELOPMENT_HOST ":38088",
};
static_assert(OQEnvironmentProduction == 0 && OQEnvironmentTest == 1 && OQEnvironmentDevelopment == 2);

struct Addresses {
  std::mutex mutex;
  std::array<std::string, kDefaults.size()> chosen;  ///< by environment; "" for the default
  std::string forAll;                                ///< from the environment variable; "" for none
};

Addresses& addresses() {
  static auto* shared = new Addresses;  // never destroyed: threads may use it until the process ends
  return *shared;
}

std::optional<std::string> problemOf(const std::string& url) {
  const auto parsed = URL::withString(url);
  if (!parsed) return "it is empty or contains characters that a URL must not contain";
  if (parsed->scheme() != "https") return "it does not begin with \"https://\"";
  const auto parts = parsed->parts();
  if (!parts) return "it is not a valid URL";
  if (parts->host.empty()) return "it has no host";
  if (parts->hasUser) return "it contains a user name or a password";
  if (parts->hasQuery) return "it contains a query (\"?\")";
  if (parts->hasFragment) return "it contains a fragment (\"#\")";
  return std::nullopt;
}

std::string messageFor(const std::string& problem) {
  return "The server address is not usable: " + problem + ".";
}

std::string withoutSlashAtEnd(std::string url) {
  url.erase(url.find_last_not_of('/') + 1);
  return url;
}

/// The address in the variable; "" if it is not set or not usable.
std::string addressInVariable() {
  const char* value = ::secure_getenv(kVariable);
  if (!value || !*value) return "";
  if (const auto problem = problemOf(value)) {
    platformWarning(stringWithFormat("%@ is ignored. %@", kVariable, messageFor(*problem)));
    return "";
  }
  return withoutSlashAtEnd(value);
}

}  // namespace

std::optional<std::string> OQServerAddress::problemWith(const std::string& url) {
  const auto problem = url.empty() ? std::nullopt : problemOf(url);
  return problem ? std::optional(messageFor(*problem)) : std::nullopt;
}

std::optional<std::string> OQServerAddress::set(std::uint64_t environment, const std::string& url) {
  if (environment >= kDefaults.size()) {
    return stringWithFormat("There is no environment %@.", environment);
  }
  if (auto problem = problemWith(url)) return problem;
  std::string address = withoutSlashAtEnd(url);
  std::lock_guard lock(addresses().mutex);
  addresses().chosen[environment].swap(address);
  return std::nullopt;
}

void OQServerAddress::allowEnvironmentVariable(bool isAllowed) {
  std::string address = isAllowed ? addressInVariable() : "";
  std::lock_guard lock(addresses().mutex);
  addresses().forAll.swap(address);
}

std::optional<std::string> OQServerAddress::current() {
  const std::uint64_t environment = OQUserDefaults::environment();
  if (environment >= kDefaults.size()) return std::nullopt;
  std::lock_guard lock(addresses().mutex);
  if (!addresses().forAll.empty()) return addresses().forAll;
  const std::string& chosen = addresses().chosen[environment];
  return chosen.empty() ? kDefaults[environment] : chosen;
}

}  // namespace oq
