#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace oq::server {

// How a problem's line names a place in a campaign file: "windows[2].event.xwhat".
inline std::string memberOf(const std::string& place, std::string_view key) {
  return place.empty() ? std::string(key) : place + "." + std::string(key);
}

inline std::string elementOf(const std::string& place, std::size_t index) {
  return place + "[" + std::to_string(index) + "]";
}

}  // namespace oq::server
