// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace oq {

using Data = std::vector<std::uint8_t>;

inline Data dataFromString(std::string_view text) {
  return Data(text.begin(), text.end());
}
inline std::string stringFromData(const Data& data) {
  return std::string(data.begin(), data.end());
}

}  // namespace oq
