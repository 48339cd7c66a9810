// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Exception.h"

#include <utility>

namespace oq {

Exception::Exception(std::string name, const std::string& reason)
    : std::runtime_error(reason), _name(std::move(name)) {}

Exception::~Exception() = default;

}  // namespace oq
