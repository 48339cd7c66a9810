// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <bitset>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace oq::server {

// The environments that a client can select. Clients use the same numbers.
enum class Environment { production = 0, test = 1, development = 2 };

inline constexpr Environment allEnvironments[] = {Environment::production, Environment::test, Environment::development};
inline constexpr std::string_view environmentNames[] = {"production", "test", "development"};

inline std::string_view nameOf(Environment environment) {
  return environmentNames[static_cast<int>(environment)];
}

// The extensions that this server offers to clients in the response to their login.
inline constexpr std::string_view testerExtension = "tester";
inline constexpr std::string_view reportsExtension = "reports";
inline constexpr std::string_view extensionNames[] = {testerExtension, reportsExtension};

// The client that requests a list. `newUser` is absent if the request does not contain an integer "newUser".
struct Audience {
  Environment environment = Environment::production;
  std::optional<int> newUser;
  std::string userId;
  std::set<std::string, std::less<>> extensions;  // the names that the client sent
};

// One campaign: the JSON for clients, and the rules by which the server selects clients.
struct Campaign {
  std::string json;
  std::bitset<3> environments = 0b111;
  std::optional<int> newUser;
  std::set<std::string> userIds;  // empty: all users
  std::set<std::string, std::less<>> requiredExtensions;

  bool isFor(const Audience& audience) const {
    if (!environments[static_cast<size_t>(audience.environment)]) return false;
    if (newUser && newUser != audience.newUser) return false;
    const auto &named = audience.extensions, &required = requiredExtensions;
    if (!std::includes(named.begin(), named.end(), required.begin(), required.end())) return false;
    return userIds.empty() || userIds.count(audience.userId) > 0;
  }
};

// The content of one campaign file. Immutable once it is published.
struct Campaigns {
  std::optional<std::set<std::string>> appKeys;  // absent: every key may log in
  std::set<std::string> testers;                 // user ids
  std::vector<Campaign> windows;
  std::vector<Campaign> subscriptions;
};

// The current campaigns. Any thread may read them while another one replaces them. The campaigns that a reader got from
// get() do not change.
class CurrentCampaigns {
 public:
  std::shared_ptr<const Campaigns> get() const {
    std::lock_guard lock(_mutex);
    return _campaigns;
  }

  void set(Campaigns campaigns) {
    auto next = std::make_shared<const Campaigns>(std::move(campaigns));
    std::lock_guard lock(_mutex);
    _campaigns.swap(next);
  }

 private:
  mutable std::mutex _mutex;
  std::shared_ptr<const Campaigns> _campaigns = std::make_shared<const Campaigns>();
};

}  // namespace oq::server
