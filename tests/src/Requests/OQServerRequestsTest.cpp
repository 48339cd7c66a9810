// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQServerRequests.h"

#include "Foundation/Values/Format.h"
#include "Requests/OQReports.h"
#include "Utils/OQUtils.h"
#include "support/EngineTest.h"

namespace oq::test {
namespace {

using OQServerRequestsTest = WorldTest;

// The expected bodies, without whitespace. Values replace "%@".
constexpr const char* loginBody =
    R"({"os":{"brand":"iphone","channel":"default","platform":"ios","version":"%@","mac":"%@",)"
    R"("packageName":"com.torvelin.oqsdk"},"sdkVersion":"0.8.6","appKey":"%@"})";
constexpr const char* listBody =
    R"({"newUser":%@,"os":{"brand":"iphone","channel":"default","platform":"ios","version":"%@"},)"
    R"("sdkVersion":"0.8.6","token":"%@","userId":"%@"})";
constexpr const char* reportBody =
    R"({"os":{"brand":"iphone","channel":"default","platform":"ios","version":"%@",)"
    R"("packageName":"com.torvelin.oqsdk"},"sdkVersion":"0.8.6","token":"%@","userId":"%@","events":[{"appid":"%@",)"
    R"("xwho":"%@","xwhat":"$impDialog","xwhen":5,"xcontext":{"$dialog_id":"","$dialog_type":1}}]})";

/// The first session is empty. The second one has a configuration, and values that the first one stored. Servers that
/// offer no extension may depend on every member and on the order of the members.
TEST_F(OQServerRequestsTest, RequestsToServersWithoutExtensionsHaveFixedMembersInFixedOrder) {
  const auto configuration = std::make_shared<TorvelinOqConfig>();
  configuration->setAppKey("key-1");
  for (const bool isKnown : {false, true}) {
    OQSession session;
    if (isKnown) session.set(&OQSession::Values::configuration, configuration);
    const auto values = session.values();
    const auto requests = std::make_shared<OQServerRequests>();
    const auto reports = std::make_shared<OQReports>();
    const auto event = OQServerRequests::windowEvent(values, "$impDialog", 1, OQWindowData());
    event->setXwhen(5);
    const std::size_t before = network->requests().size();
    OQServerRequests::login(values, requests, [](const JSONValue&) {});
    requests->getInAppList(values, requests, nullptr);
    requests->getSubscribeList(values, requests, nullptr);
    reports->send(values, OQReports::Kind::SubscribedEvent, *event);
    reports->send(values, OQReports::Kind::WindowEvent, *event);
    ASSERT_TRUE(network->settle());

    const std::string version = OQUtils::getOSVersion(), token = isKnown ? "T" : "", user = isKnown ? "42" : "";
    const auto list = stringWithFormat(listBody, isKnown ? 0 : 1, version, token, user);
    const auto report = stringWithFormat(reportBody, version, token, user, "", user);
    const std::pair<const char*, std::string> expected[] = {
        {"/push/sdk/login", stringWithFormat(loginBody, version, OQUtils::getUUID(), isKnown ? "key-1" : "")},
        {"/push/sdk/in_app", list},
        {"/push/sdk/event/subscribe", list},
        {"/push/sdk/event/trigger", report},
        {"/push/sdk/in_app/callback", report}};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
      auto request = network->requests().at(before + i);
      EXPECT_EQ(request.path, expected[i].first);
      EXPECT_EQ(request.method, "POST");
      EXPECT_EQ(request.headers, (std::map<std::string, std::string>{{"Content-Type", "application/json"}}));
      std::erase_if(request.body, [](char each) { return each == ' ' || each == '\n'; });
      EXPECT_EQ(request.body, expected[i].second);
    }
    session.takeToken("T");
    session.takeUser(42, "shop");
  }
}

}  // namespace
}  // namespace oq::test
