// SPDX-License-Identifier: Apache-2.0
#include "Endpoints.h"

#include <gmock/gmock.h>

#include <sstream>

#include "support/ScratchFolder.h"
#include "support/Threads.h"

namespace oq::server {
namespace {

using test::ScratchFolder;

namespace json = boost::json;
using testing::HasSubstr;

class EndpointsTest : public testing::Test {
 protected:
  json::object post(std::string_view path, const std::string& body, int status = 200) {
    const auto reply = endpoints.post(Environment::test, path, body);
    EXPECT_EQ(reply.status, status) << reply.body;
    return json::parse(reply.body).as_object();
  }

  std::string login(const std::string& device = "") {
    const auto answer = post(Endpoints::login, R"({"appKey":"k","os":{"mac":")" + device + R"("}})");
    return std::string(answer.at("token").as_string());
  }

  ScratchFolder folder;
  CurrentCampaigns campaigns;
  EventStore store{folder.path() / "server.db"};
  std::ostringstream lines;
  Endpoints endpoints{store, campaigns, lines};
};

TEST_F(EndpointsTest, RefusesWrongRequestsAndStoresNothing) {
  const std::tuple<std::string_view, std::string, const char*> cases[] = {
      {Endpoints::login, "", "not valid JSON"},
      {Endpoints::login, "{\"appKey\":\"\xff\"}", "not valid JSON"},
      {Endpoints::login, "[]", "must be a JSON object"},
      {Endpoints::login, "{}", "appKey"},
      {Endpoints::login, R"({"appKey":""})", "appKey"},
      {Endpoints::login, R"({"appKey":1})", "appKey"},
      {Endpoints::inApp, R"({"token":[]})", "token"},
      {Endpoints::trigger, "{}", "events: must be"},
      {Endpoints::trigger, R"({"events":{}})", "events: must be"},
      {Endpoints::callback, R"({"events":[]})", "events: must be"},
      {Endpoints::callback, R"({"events":[{"xwhat":"a"},1]})", "events[1]: must be"},
      {Endpoints::callback, std::string(1000, '['), "not valid JSON"},
  };
  for (const auto& [path, body, expected] : cases) {
    const auto answer = post(path, body, 400);
    EXPECT_EQ(answer.at("code"), 400);
    EXPECT_THAT(std::string(answer.at("message").as_string()), HasSubstr(expected)) << body;
  }
  EXPECT_EQ(store.count(), 0);
  EXPECT_EQ(lines.str(), "");
}

TEST_F(EndpointsTest, KeepsTheNewestTokensOfADevice) {
  const auto other = login("n"), first = login("m"), second = login("m");
  for (int i = 0; i < 15; ++i) login("m");
  EXPECT_FALSE(store.knowsToken(first));
  EXPECT_TRUE(store.knowsToken(second));
  EXPECT_TRUE(store.knowsToken(other));
}

TEST_F(EndpointsTest, LineBreaksInEventsDoNotAddOutputLines) {
  post(Endpoints::callback,
       R"({"userId":"a\nb","events":[{"xwhat":"x\r\n","xcontext":{"k":"v\n"}},{"xwhat":null,"xwhen":1}]})");
  const auto text = lines.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 2);
  EXPECT_THAT(text, HasSubstr(R"( /push/sdk/in_app/callback "a\nb" "x\r\n" {"k":"v\n"})"));
  EXPECT_THAT(text, HasSubstr(R"( "a\nb" "" {})"));
}

TEST_F(EndpointsTest, StoresAllEventsOfConcurrentClients) {
  constexpr int clients = 8, each = 20;
  test::inThreads(clients, [&](int) {
    for (int n = 0; n < each; ++n) {
      EXPECT_EQ(endpoints.post(Environment::test, Endpoints::trigger, R"({"events":[{"xwhat":"e"}]})").status, 200);
      campaigns.set({});
    }
  });
  EXPECT_EQ(store.count(), clients * each);
  const auto text = lines.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), clients * each);
}

}  // namespace
}  // namespace oq::server
