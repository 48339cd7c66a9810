// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace oq::test {

/// Makes the n-th operation of one kind fail, counted over all threads of the process: a file call (open, create,
/// write, rename, flush) or a step of a SQLite statement. A failing write has written half of its bytes. While a fault
/// is armed, flushes do not reach the disk. Not available under ThreadSanitizer.
class Faults {
 public:
  enum class Kind { fileCall, databaseStep };

  class Armed {
   public:
    Armed(Kind kind, int number);
    ~Armed();
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;
    /// Whether the operation has failed; false if there were fewer operations than `number`.
    bool hasStruck() const;
  };
};

}  // namespace oq::test
