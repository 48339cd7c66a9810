// SPDX-License-Identifier: Apache-2.0
#include <oqsdk/headless/HeadlessHost.h>
#include <oqsdk/oqsdk.h>
int main() {
  oq::HeadlessHost host;
  auto config = oq::TorvelinOqConfig::defaultConfig();
  config->setAppKey("consumer");
  oq::TorvelinOqManager::startWithConfig(config);
  host.advance(0.5);
  return host.writePng("screen.png") ? 0 : 1;
}
