// SPDX-License-Identifier: Apache-2.0
#include "CampaignServer.h"
#include "ShippedFiles.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <system_error>

namespace oq::server {

namespace {

// Only the owner can read the folder, since it contains private keys and users' events.
const std::filesystem::path& makeDataFolder(const std::filesystem::path& folder) {
  if (folder.has_parent_path()) std::filesystem::create_directories(folder.parent_path());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    throw std::system_error(errno, std::generic_category(), folder.string());
  }
  return folder;
}

RouteOptions routeOptions(const Options& options) {
  RouteOptions routes;
  if (!options.staticFolder.empty()) routes.staticFiles.emplace(options.staticFolder);
  routes.shippedFiles = shippedFiles();
  routes.publicEvents = options.publicEvents;
  return routes;
}

bool isMissingFamily(const std::system_error& problem) {
  return problem.code().value() == EADDRNOTAVAIL || problem.code().value() == EAFNOSUPPORT;
}

std::string counted(const Campaigns& campaigns) {
  return std::to_string(campaigns.windows.size()) + " windows, " + std::to_string(campaigns.subscriptions.size()) +
         " subscriptions";
}

}  // namespace

CampaignServer::Lock::Lock(const std::filesystem::path& folder)
    : _descriptor(open((folder / "lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
  if (_descriptor < 0) throw std::system_error(errno, std::generic_category(), folder.string());
  if (flock(_descriptor, LOCK_EX | LOCK_NB) == 0) return;
  close(_descriptor);
  throw std::runtime_error(folder.string() + ": another oqsdk-server is using this data folder");
}

CampaignServer::Lock::~Lock() {
  close(_descriptor);
}

CampaignServer::CampaignServer(const Options& options)
    : _options(options),
      _lock(makeDataFolder(options.data)),
      _certificates(std::filesystem::absolute(options.data) / "tls", options.hosts),
      _store(options.data / "server.db"),
      _endpoints(_store, _campaigns, std::cout),
      _routes(routeOptions(options)) {
  if (!options.campaigns.empty()) _loadCampaigns();
  _certificates.ensure();
  for (const auto environment : allEnvironments) _open(environment);
}

CampaignServer::~CampaignServer() {
  for (auto& listener : _listeners) listener->stop();
}

void CampaignServer::_loadCampaigns() {
  // Watch first, then read, so that no change is missed in between.
  _watch.emplace(_options.campaigns);
  _file.emplace(_options.campaigns, _campaigns, std::cerr);
  const auto outcome = _file->load();
  if (outcome == CampaignFile::Outcome::missing) {
    throw std::runtime_error(_options.campaigns.string() + ": no such file (--init writes a sample)");
  }
  if (outcome != CampaignFile::Outcome::loaded) throw std::runtime_error("the campaign file is not usable");
}

void CampaignServer::_open(Environment environment) {
  constexpr int tries = 20;  // attempts to find a port that is free on every address
  const int wanted = _options.ports[static_cast<std::size_t>(environment)];
  const auto before = _listeners.size();
  for (int i = 1;; ++i) try {
      const int port = _bindAll(environment, wanted);
      _announcements.push_back(std::string(nameOf(environment)) + ": https://localhost:" + std::to_string(port));
      return;
    } catch (const std::system_error& problem) {
      _listeners.resize(before);
      if (wanted == 0 && problem.code().value() == EADDRINUSE && i < tries) continue;
      throw;
    }
}

int CampaignServer::_bindAll(Environment environment, int port) {
  const std::vector<std::string> loopback = {"127.0.0.1", "::1"};
  const bool isDefault = _options.addresses.empty();
  bool any = false;
  for (const auto& address : isDefault ? loopback : _options.addresses) {
    auto listener = std::make_unique<HttpsListener>(_certificates);
    addRoutes(listener->routes(), environment, _endpoints, _routes);
    try {
      port = listener->bind(address, port);
    } catch (const std::system_error& problem) {
      // A machine without IPv6 has no ::1. The address that is already bound is enough.
      if (isDefault && any && isMissingFamily(problem)) continue;
      throw;
    }
    _listeners.push_back(std::move(listener));
    any = true;
  }
  return port;
}

void CampaignServer::run() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  const int ending = signalfd(-1, &signals, SFD_CLOEXEC);
  if (ending < 0) throw std::system_error(errno, std::generic_category(), "signalfd");
  for (auto& listener : _listeners) listener->start();
  std::cout << "certificate authority: " << _certificates.authorityFile().string() << '\n';
  std::cout << "campaigns: " << counted(*_campaigns.get()) << '\n';
  for (const auto& line : _announcements) std::cout << line << '\n';
  std::cout << "ready" << std::endl;

  pollfd waits[] = {{ending, POLLIN, 0}, {_watch ? _watch->descriptor() : -1, POLLIN, 0}};
  while (poll(waits, std::size(waits), -1) >= 0 || errno == EINTR) {
    if (waits[0].revents) break;
    if (waits[1].revents && _watch->takeChanges()) _reload();
  }
  close(ending);
}

// Reports on standard error: standard output is for events.
void CampaignServer::_reload() {
  const auto outcome = _file->load();
  if (outcome == CampaignFile::Outcome::loaded) {
    std::cerr << _file->path().string() << ": loaded, " << counted(*_campaigns.get()) << std::endl;
  } else if (outcome == CampaignFile::Outcome::refused) {
    std::cerr << _file->path().string() << ": refused, the last good campaigns stay" << std::endl;
  }
}

}  // namespace oq::server
