// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::test {

/// Makes the n-th system request of this process fail: calls that open, create, change and rename files, and steps of
/// SQLite statements.
///
///     for (int number = 1;; ++number) {
///       Faults::Armed fault(Faults::Kind::fileCall, number);
///       ... do something ...
///       if (!fault.hasStruck()) break;  // there were fewer operations
///     }
/// Operations of all threads count. A failing write has written half of its bytes. While a fault is armed, flushes do
/// not reach the disk.
class Faults {
 public:
  enum class Kind { fileCall, databaseStep };

  class Armed {
   public:
    Armed(Kind kind, int number);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    bool hasStruck() const;
  };
};

}  // namespace oq::test
