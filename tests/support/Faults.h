// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::test {

/// Makes the n-th operation of one kind fail, counted in the whole process: a file call (open, create, write, rename,
/// flush), a step of a SQLite statement, or an allocation with new. Not available under ThreadSanitizer. Under
/// AddressSanitizer allocations cannot fail, since it has its own operators.
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
  enum class Kind { fileCall, databaseStep, allocation };

  class Armed {
   public:
    Armed(Kind kind, int number);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    bool hasStruck() const;
  };

  /// The number of allocations on this thread so far. Always 0 under the sanitizers.
  static unsigned long allocationsOfThread();
};

}  // namespace oq::test
