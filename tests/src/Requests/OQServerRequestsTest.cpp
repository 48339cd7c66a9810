// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerRequests.h"

#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using OQServerRequestsTest = WorldTest;

/// The first session is empty. The second one has a configuration, and values that the first one stored.
TEST_F(OQServerRequestsTest, BodiesNameTheInstallationAndItsUser) {
  const auto configuration = std::make_shared<TorvelinOqConfig>();
  configuration->setAppKey("key-1");
  for (const bool isKnown : {false, true}) {
    OQSession session;
    if (isKnown) session.set(&OQSession::Values::configuration, configuration);
    const auto values = session.values();
    const auto requests = std::make_shared<OQServerRequests>();
    const auto event = OQServerRequests::windowEvent(values, "$impDialog", 1, OQWindowData());
    event->setXwhen(5.5);  // read back as the same kind of number
    const std::size_t before = network->requests().size();
    OQServerRequests::login(values, requests, [](const JSONValue&) {});
    requests->getInAppList(values, requests, nullptr);
    requests->getSubscribeList(values, requests, nullptr);
    OQServerRequests::triggerEvent(values, requests, event);
    OQServerRequests::reportEvent(values, requests, event);
    ASSERT_TRUE(network->settle());

    const JSONValue version(OQUtils::getOSVersion()), bundle(OQSDKBundleId);
    JSONDictionary device{{"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", version}};
    JSONDictionary list{{"newUser", isKnown ? 0 : 1},
                        {"os", device},
                        {"sdkVersion", OQSDKVersion},
                        {"token", isKnown ? "T" : ""},
                        {"userId", isKnown ? "42" : ""}};
    JSONDictionary events = list;
    events.erase("newUser");
    events["os"].as_object()["packageName"] = bundle;
    events["events"] = JSONArray{event->toDictionary()};
    device["packageName"] = bundle;
    device["mac"] = OQUtils::getUUID();
    const std::pair<const char*, JSONValue> expected[] = {
        {"/push/sdk/login", {{"os", device}, {"sdkVersion", OQSDKVersion}, {"appKey", isKnown ? "key-1" : ""}}},
        {"/push/sdk/in_app", list},
        {"/push/sdk/event/subscribe", list},
        {"/push/sdk/event/trigger", events},
        {"/push/sdk/in_app/callback", events}};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
      const auto request = network->requests().at(before + i);
      EXPECT_EQ(request.path, expected[i].first);
      EXPECT_EQ(request.method, "POST");
      EXPECT_EQ(request.json, expected[i].second) << expected[i].first;
    }
    session.takeToken("T");
    session.takeUser(42, "shop");
  }
}

}  // namespace
}  // namespace oq::test
