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

// The whole server: everything is made in the constructor, which throws std::runtime_error (with one sentence
// for the user) when a part cannot be had, and taken down in order in the destructor. Lives on the main
// thread.
class CampaignServer {
 public:
  // SIGTERM and SIGINT must be blocked in the calling thread, since its threads inherit that.
  explicit CampaignServer(const Options& options);
  ~CampaignServer();

  // Tells on standard output where the server can be reached, then serves until SIGTERM or SIGINT.
  void run();

 private:
  // Held while the server runs, so that two servers never share a data folder.
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
