// SPDX-License-Identifier: Apache-2.0

// A host application that requires the user's consent, controlled by lines on standard input. It is run under a tracer
// of system calls.
//
//   start               starts the library
//   use                 does what hosts, users and the clock can cause, and ten seconds of animation
//   record NAME         records an event
//   give, withdraw      the user's decision
//   settle              runs the main queue, and writes the waiting log entries
// Each step begins with a system call that shows its name in the trace. The response to each line is "ok".
#include <unistd.h>

#include <iostream>
#include <string>

#include "Engine/OQSDKManager.h"
#include "Pages/OQPageCollection.h"
#include "Requests/OQServerAddress.h"
#include "UIKit/Controllers/UIViewController.h"
#include "Utils/OQConsent.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "oqsdk/oqsdk.h"

namespace {

using namespace oq;

OQSDKManager& engine() {
  return OQSDKManager::sharedManager();
}

void record(const std::string& name) {
  engine().onEventDataReceived(
      {{"xwho", "ann"}, {"appid", "shop"}, {"xwhat", name}, {"xwhen", 1.0}, {"xcontext", JSONDictionary{}}});
}

void settle(HeadlessHost& host) {
  host.runMainQueue();
  OQLogger::getInstance().flush();
}

void start() {
  auto config = TorvelinOqConfig::defaultConfig();
  config->setEnvType(OQEnvironmentProduction);
  config->setAppKey("consent-key");
  TorvelinOqManager::startWithConfig(config);
}

void use(HeadlessHost& host) {
  start();
  for (const char* name : {"buy", "add_to_cart", "$pageview"}) record(name);
  OQPageCollection::sharedInstance().viewDidAppear(UIViewController());
  TorvelinOqManager::pushTrack(1, Dictionary{{"activityId", "7"}});
  engine().jumpToWebViewWithURLStr("https://localhost/offer.html");
  engine().downloadImageWithURL(URL::withString("https://localhost/picture.png"), nullptr);
  engine().getListData();
  engine().getInAppList();
  engine().syncRecordTree();
  engine().syncInAppData();
  engine().diagnostics();
  OQUtils::saveUUIDWithKeyChain();
  OQUtils::getUUID();
  OQLogger::log("an entry");
  OQLogger::error("an error");
  host.advance(10);
  settle(host);
}

void runStep(HeadlessHost& host, const std::string& line) {
  ::access(("/step/" + line).c_str(), F_OK);
  if (line == "start") start();
  if (line == "use") use(host);
  if (line.starts_with("record ")) record(line.substr(7));
  if (line == "give") OQConsent::give();
  if (line == "withdraw") {
    OQConsent::withdraw();
    OQNetwork::cancelAll();
  }
  settle(host);
  ::access("/step/end", F_OK);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: consent_host DATA-DIR SERVER required|optional\n";
    return 2;
  }
  if (std::string(argv[3]) == "required") OQConsent::require();
  ::access("/step/host", F_OK);
  HeadlessHost::Options options;
  options.dataDirectory = argv[1];
  HeadlessHost host(options);
  if (const auto problem = OQServerAddress::set(OQEnvironmentProduction, argv[2])) {
    std::cerr << *problem << "\n";
    return 2;
  }
  for (std::string line; std::getline(std::cin, line);) {
    runStep(host, line);
    std::cout << "ok" << std::endl;
  }
}
