#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Campaigns.h"

namespace oq::server {

// What was found while reading a campaign file, one sentence each, beginning with the place:
// "line 3, column 7: ..." for text that is no JSON, "windows[2].style: ..." for a wrong value.
struct CampaignReport {
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
};

// Reads the text of a campaign file. Returns nothing when there is an error; every error is reported, not
// only the first. Warnings alone do not refuse a file. Never throws for bad input.
std::optional<Campaigns> parseCampaigns(std::string_view text, CampaignReport& report);

}  // namespace oq::server
