// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>

#include "Campaigns.h"

namespace oq::server {

// The campaign file on disk and the content that was last read from it. Problems are written to `messages`, one per
// line: "FILE: PLACE: PROBLEM". For one thread only. Other threads read the campaigns through CurrentCampaigns.
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
  std::optional<std::string> _lastText;  // the last content, even if refused, so that its problems are reported once
};

}  // namespace oq::server
