// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq {

/// The user's consent. Until a host requires it, nothing is withheld. While it is missing, the library sends nothing,
/// writes no entry of the log, and stores and changes nothing; files of earlier runs can be read.
///
/// What was given or withdrawn is stored for later runs in the file "consent" of the preferences folder, and belongs to
/// the application's data folder. In a folder without this file, the last decision of this run holds. It is a file of
/// its own because a start that requires no consent must find out cheaply whether consent was withdrawn, and because a
/// damaged database must not make a withdrawal undone. Thread-safe. Failure: what cannot be stored holds in this run
/// only, and there is a warning.
class OQConsent {
 public:
  /// From now on consent is necessary in this run. To be called before the start. With false, it is no longer
  /// necessary; for tests.
  static void require(bool isRequired = true);
  static void give();
  /// Also holds in later runs that do not require consent. Requests that are under way are not cancelled, and other
  /// threads may still end what they have begun.
  static void withdraw();
  /// True if consent is required and was not given, or if it was withdrawn. Costs a few atomic loads, except for the
  /// first call with a data folder, which reads the file.
  static bool isMissing();
};

}  // namespace oq
