// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace oq {

/// The base addresses of the campaign servers, one per environment. The defaults are set at build time. Nothing is
/// stored for later runs.
///
/// Thread-safe. A change affects the requests that begin after it.
class OQServerAddress {
 public:
  /// What is wrong with an address, in a sentence; nullopt if it can be set. "" is allowed.
  static std::optional<std::string> problemWith(const std::string& url);
  /// Sets the address for an environment; "" restores the default. The address may contain a path, with or without a
  /// "/" at its end; the path of each request is appended to it. Returns nullopt, or a description of what is wrong;
  /// then nothing has changed. The address must be an https URL with a host and without user, query and fragment.
  static std::optional<std::string> set(std::uint64_t environment, const std::string& url);
  /// With true, the address in the environment variable OQSDK_SERVER replaces those of all environments; with false, it
  /// no longer does. The variable is read only during this call: a later read on another thread would not be safe while
  /// the host changes its variables. The variable is ignored in a process that has more rights than its user
  /// (set-user-ID), and with a warning if the address is not valid.
  static void allowEnvironmentVariable(bool isAllowed);
  /// The address of the environment that is stored now, without a "/" at its end. nullopt if that environment does not
  /// exist; there is no fallback to production.
  static std::optional<std::string> current();
};

}  // namespace oq
