// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// The user's consent. It is missing if a host requires it and the user has not given it, or if the user has withdrawn
/// it. While it is missing, the library sends nothing, writes no entry of the log, and stores and changes nothing;
/// files of earlier runs can be read.
///
/// The user's last decision is stored for later runs in the file "consent" of the preferences folder, so each data
/// folder of an application has its own. For a data folder without this file, the last decision of this run holds. The
/// decision is not stored in the user defaults, because a start that requires no consent must find out cheaply whether
/// consent was withdrawn, and because a damaged database must not undo a withdrawal. Thread-safe. A decision that
/// cannot be stored holds in this run only, and there is a warning.
class OQConsent {
 public:
  /// From now on consent is required in this run. To be called before the start of the library. With false, which is
  /// for tests, it is no longer required.
  static void require(bool isRequired = true);
  /// Both return whether the decision was stored.
  static bool give();
  /// A withdrawal also holds in later runs that do not require consent. This function does not cancel requests that are
  /// under way, and other threads may still end what they have begun.
  static bool withdraw();
  /// True if consent is required and was not given, or if it was withdrawn. Costs a few atomic loads; only the first
  /// call, and the first one after require() or a change of the data folder, reads the file.
  static bool isMissing();
};

}  // namespace oq
