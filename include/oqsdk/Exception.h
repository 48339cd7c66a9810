// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "oqsdk/Export.h"

namespace oq {

/// Reports a programming error: a message for which a class has no method, or a value that cannot be written as JSON.
/// Input from a server, a file or a user never causes one.
class OQSDK_EXPORT Exception : public std::runtime_error {
 public:
  /// `name` identifies the error for programs; `reason` describes it for people.
  Exception(std::string name, const std::string& reason);
  ~Exception() override;

  /// Identifies the error, for example "NSInvalidArgumentException".
  const std::string& name() const { return _name; }
  /// One sentence on what happened; the same as what().
  std::string reason() const { return what(); }

 private:
  std::string _name;
};

}  // namespace oq
