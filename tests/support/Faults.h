#pragma once

namespace oq::test {

/// Lets what this process asks of the system fail, one request after the other: calls that open, make, change
/// and rename files, steps of SQLite's statements, and allocations with new (these not under the sanitizers,
/// which bring operators of their own).
///
///     for (int number = 1;; ++number) {
///       Faults::Armed fault(Faults::Kind::fileCall, number);
///       ... do something ...
///       if (!fault.hasStruck()) break;  // it asks for less than that
///     }
///
/// Requests of all threads count. A write that fails has written half of what it should. Flushes reach no
/// disk while a fault is armed.
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

  /// How often memory was allocated on this thread so far. Stays at 0 under the sanitizers.
  static unsigned long allocationsOfThread();
};

}  // namespace oq::test
