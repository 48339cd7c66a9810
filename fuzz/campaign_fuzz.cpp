// SPDX-License-Identifier: Apache-2.0

// Feeds arbitrary bytes to the parser of campaign files. A file is either accepted, and then each campaign is JSON
// without the server's own keys, or refused with at least one error.

#include <boost/json.hpp>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "CampaignParser.h"

using namespace oq::server;

namespace {

void check(bool holds) {
  if (!holds) std::abort();
}

void checkCampaigns(const std::vector<Campaign>& campaigns) {
  for (const auto& campaign : campaigns) {
    const auto sent = boost::json::parse(campaign.json);
    check(sent.is_object());
    for (const auto* key : {"environments", "newUser", "userIds"}) check(!sent.get_object().contains(key));
    check(campaign.environments.any());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  CampaignReport report;
  const auto campaigns = parseCampaigns({reinterpret_cast<const char*>(bytes), size}, report);
  check(campaigns.has_value() == report.errors.empty());
  if (!campaigns) return 0;
  checkCampaigns(campaigns->windows);
  checkCampaigns(campaigns->subscriptions);
  return 0;
}
