// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerRequests.h"

#include <gtest/gtest.h>

#include "Utils/OQUtils.h"
#include "oqsdk/OQSDKConstants.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using OQServerRequestsTest = WorldTest;

/// A session that knows nothing, and a later one with everything. The user of the first is the stored one of the
/// second.
TEST_F(OQServerRequestsTest, BodiesNameTheInstallationAndItsUser) {
  const auto configuration = std::make_shared<TorvelinOqConfig>();
  configuration->setAppKey("key-1");
  const Value version(OQUtils::getOSVersion());
  for (const bool isKnown : {false, true}) {
    OQSession session;
    if (isKnown) session.set(&OQSession::Values::configuration, configuration);
    const auto values = session.values();
    const auto requests = std::make_shared<OQServerRequests>();
    const auto event = OQServerRequests::windowEvent(values, "$impDialog", 1, OQWindowData());
    event->setXwhen(5);
    const std::size_t before = network->requests().size();
    OQServerRequests::login(values, requests, [](const Value&) {});
    requests->getInAppList(values, requests, nullptr);
    requests->getSubscribeList(values, requests, nullptr);
    OQServerRequests::triggerEvent(values, requests, event);
    OQServerRequests::reportEvent(values, requests, event);
    ASSERT_TRUE(network->settle());

    const Value user = isKnown ? "42" : "", token = isKnown ? "T" : "";
    const Dictionary device{{"brand", "iphone"}, {"channel", "default"}, {"platform", "ios"}, {"version", version}};
    Dictionary named = device;
    named["packageName"] = OQSDKBundleId;
    Dictionary identified = named;
    identified["mac"] = OQUtils::getUUID();
    const Value list = {
        {"newUser", isKnown ? 0 : 1}, {"os", device}, {"sdkVersion", OQSDKVersion}, {"token", token}, {"userId", user}};
    const Value events = {{"os", named},
                          {"sdkVersion", OQSDKVersion},
                          {"token", token},
                          {"userId", user},
                          {"events", Array{{{"appid", ""},
                                            {"xwho", user},
                                            {"xwhat", "$impDialog"},
                                            {"xwhen", 5},
                                            {"xcontext", {{"$dialog_id", ""}, {"$dialog_type", 1}}}}}}};
    const std::pair<const char*, Value> expected[] = {
        {"/push/sdk/login", {{"os", identified}, {"sdkVersion", OQSDKVersion}, {"appKey", isKnown ? "key-1" : ""}}},
        {"/push/sdk/in_app", list},
        {"/push/sdk/event/subscribe", list},
        {"/push/sdk/event/trigger", events},
        {"/push/sdk/in_app/callback", events}};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
      const auto request = network->requests().at(before + i);
      EXPECT_EQ(request.method + request.path, std::string("POST") + expected[i].first);
      EXPECT_EQ(request.json, expected[i].second) << request.path;
    }
    session.takeToken("T");
    session.takeUser(42, 7.5);
    EXPECT_EQ(session.values().appid, "7.5") << "in its text form, and not stored";
  }
}

}  // namespace
}  // namespace oq::test
