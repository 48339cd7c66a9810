// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Foundation/Values/JSONValue.h"
#include "Requests/OQExtensions.h"
#include "oqsdk/TorvelinOqConfig.h"

namespace oq {

/// The session with the campaign server: the user, the application, and the values that each request contains. It
/// starts with the token and the user id that an earlier run stored.
///
/// While consent is missing (OQConsent), takeUser() and takeToken() have no effect.
///
/// Thread-safe. One mutex guards all fields. No other lock is taken while it is held, so it may be taken while any
/// other lock is held. Failure: a value that cannot be stored is kept in memory only.
class OQSession {
 public:
  struct Values {
    std::shared_ptr<TorvelinOqConfig> configuration;
    std::optional<std::string> token;
    std::optional<std::string> userId;
    std::optional<std::string> appid;
    std::optional<std::string> pageName;
    /// True if a user id was stored when the session began. The name says the opposite. This and the inversion in the
    /// list requests are both intentional.
    bool isNewUser = false;
    /// What the server offered in the answer to the last login of this run; never stored on disk.
    std::optional<OQExtensions> offer = std::nullopt;

    /// The offer if it comes from the server of the environment that is stored now, otherwise nullopt.
    std::optional<OQExtensions> currentOffer() const;
  };

  OQSession();

  /// A consistent copy of all fields.
  Values values() const;
  template <class Field>
  Field get(Field Values::*field) const {
    std::lock_guard lock(_mutex);
    return _values.*field;
  }
  template <class Field>
  void set(Field Values::*field, Field value) {
    // After the swap, the parameter contains the old value, which is destroyed after the lock was released.
    std::lock_guard lock(_mutex);
    std::swap(_values.*field, value);
  }

  /// takeUser() and takeToken() set the values of an event or of a login answer: a string unchanged, null as no value,
  /// and any other value converted to a string. The user id and the token are also stored for later runs.
  void takeUser(const JSONValue& xwho, const JSONValue& appid);
  void takeToken(const JSONValue& token);
  void takeOffer(const JSONValue& loginAnswer, std::uint64_t environment);
  /// Sets the user id in memory only; store() stores it.
  void setUser(const std::string& userId) { set(&Values::userId, std::optional(userId)); }
  /// Removes the user, the token and what the server has offered from memory.
  void forget();
  /// Stores the user id and the token for later runs. If there is none now, the stored one is removed.
  void store() const;

 private:
  mutable std::mutex _mutex;
  Values _values;
};

}  // namespace oq
