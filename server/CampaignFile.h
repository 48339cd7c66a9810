#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "Campaigns.h"

namespace oq::server {

// The campaign file on disk, and what it last said. Problems go to `messages` as lines "PATH: PLACE:
// PROBLEM". Used by one thread; readers of the campaigns use CurrentCampaigns.
class CampaignFile {
 public:
  CampaignFile(std::filesystem::path path, CurrentCampaigns& campaigns, std::ostream& messages);

  enum class Outcome { loaded, unchanged, missing, refused };

  // Reads the file and, when it is good, puts its campaigns in force; otherwise the last good ones stay.
  // A file that is absent is not an error of its own: editors take the old file away before the new one
  // comes.
  Outcome load();

  const std::filesystem::path& path() const { return _path; }

 private:
  Outcome _take(const std::string& text);

  std::filesystem::path _path;
  CurrentCampaigns& _campaigns;
  std::ostream& _messages;
  std::optional<std::string> _lastText;  // also of a refused file, so that each is complained about once
};

}  // namespace oq::server
