// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CampaignFile.h"
#include "Campaigns.h"
#include "Certificates.h"
#include "CommandLine.h"
#include "Endpoints.h"
#include "EventStore.h"
#include "FolderWatch.h"
#include "HttpsListener.h"
#include "Routes.h"

namespace oq::server {

// The whole server. The constructor creates all parts and throws std::runtime_error (with one sentence for the user) if
// one fails. The destructor lets connections finish their current response, and then stops all parts. For the main
// thread only.
class CampaignServer {
 public:
  // SIGTERM and SIGINT must be blocked in the calling thread, since the server's threads inherit its signal mask.
  explicit CampaignServer(const Options& options);
  ~CampaignServer();

  // Prints the server's addresses on standard output, then serves until SIGTERM or SIGINT.
  void run();

 private:
  // A lock on the data folder, so that two servers never use the same folder.
  class Lock {
   public:
    explicit Lock(const std::filesystem::path& folder);
    ~Lock();

   private:
    int _descriptor;
  };

  void _loadCampaigns();
  void _open(Environment environment);
  int _bindAll(Environment environment, int port);
  void _reload();

  Options _options;
  Lock _lock;
  CurrentCampaigns _campaigns;
  std::optional<FolderWatch> _watch;
  std::optional<CampaignFile> _file;
  Certificates _certificates;
  EventStore _store;
  Endpoints _endpoints;
  RouteOptions _routes;
  std::vector<std::unique_ptr<HttpsListener>> _listeners;
  std::vector<std::string> _announcements;
};

}  // namespace oq::server
