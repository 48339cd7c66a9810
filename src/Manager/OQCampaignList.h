#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace oq {

class OQWindowData;

/// One campaign list, as it arrived: never changed after it is made, so any thread may walk it without a
/// lock. Finds the windows that an event can concern at all by the event's name, in list order, however long
/// the list is.
class OQCampaignList {
 public:
  using Windows = std::vector<std::shared_ptr<OQWindowData>>;

  OQCampaignList() = default;
  /// The names of the windows' conditions must not change afterwards. nullptr windows are left out.
  explicit OQCampaignList(Windows windows);

  const Windows& windows() const { return _windows; }
  bool empty() const { return _windows.empty(); }

  /// Positions, ascending, of the windows whose condition or pre-condition bears the name. Every other window
  /// is sure not to match an event of that name.
  std::span<const std::size_t> candidates(std::string_view name) const;

 private:
  struct NameHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const { return std::hash<std::string_view>{}(name); }
  };

  Windows _windows;
  std::unordered_map<std::string, std::vector<std::size_t>, NameHash, std::equal_to<>> _byName;
};

}  // namespace oq
