// SPDX-License-Identifier: Apache-2.0
#include "Host/HostInstallation.h"

#include <atomic>

#include "Foundation/Files/Bundle.h"
#include "Foundation/Files/FileManager.h"
#include "UIKit/Text/TextWarmUp.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/UIApplication.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq {

namespace {

std::atomic<bool> isPrepared = false;
std::atomic<int> installations = 0;

}  // namespace

void prepareProcess(const HostedApplication& application, MainLoop loop) {
  DispatchQueue::installMain(loop);
  setMainBundle(application.identifier, application.version);
  if (!application.dataDirectory.empty()) setApplicationDataDirectory(application.dataDirectory);
  warmUpText();
  isPrepared = true;
}

bool isProcessPrepared() {
  return isPrepared;
}

bool isHostInstalled() {
  return installations > 0;
}

HostInstallation::HostInstallation(UIHost& host, WebEngine* engine) {
  ++installations;
  UIApplication::sharedApplication().setHost(&host);
  setWebEngine(engine);
  if (!engine) setCanShowWebPages(false);
}

HostInstallation::~HostInstallation() {
  AnimationEngine::shared().setEnabled(true);
  setWebEngine(nullptr);
  UIApplication::sharedApplication().setHost(nullptr);
  --installations;
}

}  // namespace oq
