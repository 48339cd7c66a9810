// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace oq::server {

// These functions build the path of a value in a campaign file, such as "windows[2].event.xwhat", for errors and
// warnings.
inline std::string memberOf(const std::string& path, std::string_view key) {
  return path.empty() ? std::string(key) : path + "." + std::string(key);
}

inline std::string elementOf(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

}  // namespace oq::server
