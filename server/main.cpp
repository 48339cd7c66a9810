// SPDX-License-Identifier: Apache-2.0
#include <pthread.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <iostream>

#include "CampaignSchema.h"
#include "CampaignServer.h"
#include "StarterCampaigns.h"

namespace {

using namespace oq::server;

// Called before any thread starts, so that all threads inherit the mask and only the main loop receives these signals.
void blockEndingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

// Never overwrites a file: it may contain the user's campaigns.
int writeStarterFile(const std::filesystem::path& file) {
  std::FILE* out = std::fopen(file.c_str(), "wx");
  if (!out) throw std::system_error(errno, std::generic_category(), file.string());
  const bool written = std::fputs(starterCampaigns, out) >= 0;
  if (std::fclose(out) != 0 || !written) throw std::runtime_error(file.string() + ": could not be written");
  std::cout << file.string() << std::endl;
  return 0;
}

int run(const Options& options) {
  switch (options.action) {
    case Options::Action::help:
      std::cout << usage() << std::flush;
      return 0;
    case Options::Action::version:
      std::cout << "oqsdk-server " OQSDK_SERVER_VERSION << std::endl;
      return 0;
    case Options::Action::schema:
      std::cout << campaignSchema << std::flush;
      return 0;
    case Options::Action::init:
      return writeStarterFile(options.initFile);
    case Options::Action::serve:
      break;
  }
  blockEndingSignals();
  std::signal(SIGXFSZ, SIG_IGN);  // exceeding the file size limit fails one request instead of ending the server
  umask(0077);                    // the server writes private keys and users' events
  CampaignServer(options).run();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(parseCommandLine({argv + 1, argv + argc}));
  } catch (const UsageError& problem) {
    std::cerr << "oqsdk-server: " << problem.what() << " (try --help)" << std::endl;
    return 2;
  } catch (const std::exception& problem) {
    std::cerr << "oqsdk-server: " << problem.what() << std::endl;
    return 1;
  }
}
