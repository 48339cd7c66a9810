// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "oqsdk/Export.h"

namespace oq {

/// A programmer's error: a selector that a class lacks, or a value that cannot be written as JSON. Nothing that comes
/// from a server, a file or a user ever raises it.
class OQSDK_EXPORT Exception : public std::runtime_error {
 public:
  /// `name` says which error it is, for programs; `reason` what happened, for people.
  Exception(std::string name, const std::string& reason);
  ~Exception() override;

  /// Which error it is, such as "NSInvalidArgumentException".
  const std::string& name() const { return _name; }
  /// What happened, in one sentence; the same as what().
  std::string reason() const { return what(); }

 private:
  std::string _name;
};

}  // namespace oq
