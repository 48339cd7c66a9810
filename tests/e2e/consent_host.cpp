// SPDX-License-Identifier: Apache-2.0

// A host application that can require the user's consent, controlled by lines on standard input. consent_test.py runs
// it under a tracer of system calls.
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
#include "UIKit/Controllers/UIViewController.h"
#include "Utils/OQLogger.h"
#include "Utils/OQUtils.h"
#include "oqsdk/Messages.h"
#include "oqsdk/headless/HeadlessHost.h"
#include "oqsdk/oqsdk.h"

namespace {

using namespace oq;

/// The command line.
struct {
  std::string server;
  bool requiresConsent = false;
} settings;

OQSDKManager& engine() {
  return OQSDKManager::sharedManager();
}

void record(const std::string& name) {
  Messages::record(name);
}

void settle(HeadlessHost& host) {
  host.runMainQueue();
  OQLogger::getInstance().flush();
}

void start() {
  MessageOptions options{"consent-key", settings.server};
  options.requireConsent = settings.requiresConsent;
  if (const Status status = Messages::start(options); !status) std::cerr << status.error << std::endl;
}

void use(HeadlessHost& host) {
  start();
  TorvelinOqConfig::defaultConfig()->setEnvType(OQEnvironmentProduction);
  Messages::setUser("ann");
  engine().onEventDataReceived({{"xwho", "bob"}, {"xwhat", "buy"}, {"xcontext", JSONDictionary{}}});
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
  if (line == "give") Messages::giveConsent();
  if (line == "withdraw") Messages::withdrawConsent();
  settle(host);
  ::access("/step/end", F_OK);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: consent_host DATA-DIR SERVER required|optional\n";
    return 2;
  }
  settings = {argv[2], std::string(argv[3]) == "required"};
  ::access("/step/host", F_OK);
  HeadlessHost::Options options;
  options.dataDirectory = argv[1];
  HeadlessHost host(options);
  // What a host may do before it starts the library. Only start() tells the library that consent is required, so these
  // calls must change nothing either.
  Messages::setLogHandler([](Messages::LogLevel, std::string_view) {});
  Messages::setHandlers({});
  Messages::setLogFileLimit(1 << 20);
  Messages::setUser("ann");
  engine().diagnostics();  // waits until the files of earlier runs are read
  for (std::string line; std::getline(std::cin, line);) {
    runStep(host, line);
    std::cout << "ok" << std::endl;
  }
}
