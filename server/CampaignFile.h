// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "Campaigns.h"

namespace oq::server {

// The campaign file on disk and its content at the last reading. Problems are written to `messages` as lines "FILE:
// PLACE: PROBLEM". For one thread only; readers of the campaigns use CurrentCampaigns.
class CampaignFile {
 public:
  CampaignFile(std::filesystem::path path, CurrentCampaigns& campaigns, std::ostream& messages);

  enum class Outcome { loaded, unchanged, missing, refused };

  // Reads the file. If it is valid, its campaigns become the current ones; otherwise the last valid ones stay. A
  // missing file is not reported: some editors delete the old file before they write the new one.
  Outcome load();

  const std::filesystem::path& path() const { return _path; }

 private:
  Outcome _take(const std::string& text);

  std::filesystem::path _path;
  CurrentCampaigns& _campaigns;
  std::ostream& _messages;
  std::optional<std::string> _lastText;  // also of a refused file, so that each is reported once
};

}  // namespace oq::server
