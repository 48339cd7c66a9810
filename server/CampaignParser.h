// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Campaigns.h"

namespace oq::server {

// The problems of a campaign file, one line each. A line begins with the place of the problem: "line 3, column 7: ..."
// if the file is not JSON, "windows[2].style: ..." for a wrong value.
struct CampaignReport {
  std::vector<std::string> errors;
  std::vector<std::string> warnings;
};

// Parses the content of a campaign file. Returns nullopt if there is an error; all errors are reported, not only the
// first. A file with warnings only is accepted. Never throws for bad input.
std::optional<Campaigns> parseCampaigns(std::string_view text, CampaignReport& report);

}  // namespace oq::server
