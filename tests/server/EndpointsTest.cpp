// SPDX-License-Identifier: Apache-2.0
#include "Endpoints.h"

#include <gmock/gmock.h>

#include <sstream>

#include "CampaignParser.h"
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

// The first database was written by an older server, whose tables have no column for the ids of reports.
TEST_F(EndpointsTest, StoresAReportWithTheSameIdOnceIn30Days) {
  const auto file = folder.path() / "old.db";
  Database(file).execute(R"(
    CREATE TABLE tokens (
      id INTEGER PRIMARY KEY AUTOINCREMENT, token TEXT NOT NULL UNIQUE, time TEXT NOT NULL,
      app_key TEXT NOT NULL, device TEXT NOT NULL);
    CREATE TABLE events (
      id INTEGER PRIMARY KEY AUTOINCREMENT, time TEXT NOT NULL, environment TEXT NOT NULL,
      endpoint TEXT NOT NULL, user TEXT NOT NULL, name TEXT NOT NULL, context TEXT NOT NULL, body TEXT NOT NULL);
    CREATE INDEX tokens_of_device ON tokens (app_key, device, id);
    CREATE INDEX events_named ON events (name, id);
    INSERT INTO tokens VALUES(1, 'old-token', '2026-01-01T12:00:00.870Z', 'k', 'm');
    INSERT INTO events VALUES(1, '2026-01-01T12:00:00.896Z', 'production', '/push/sdk/event/trigger', 'ann', 'old',
                              '{}', '{"id":"A","xwhat":"old"}');
  )");
  const ReceivedEvent withId{"A", "e", "{}", "{}"}, withoutId{"", "e", "{}", "{}"};
  const auto append = [&](EventStore& events, std::string_view time, const std::vector<ReceivedEvent>& received) {
    return events.append(time, "test", Endpoints::trigger, "ann", received);
  };
  {
    EventStore old(file);
    EXPECT_TRUE(old.knowsToken("old-token"));
    EXPECT_EQ(append(old, "2026-01-31T12:00:00.000Z", {withId, withId, withoutId, withoutId}),
              (std::vector<bool>{true, false, true, true}));
  }
  EventStore reopened(file);
  EXPECT_EQ(append(reopened, "2026-03-02T11:59:59.999Z", {withId}), std::vector<bool>{false});
  EXPECT_EQ(append(reopened, "2026-03-02T12:00:00.001Z", {withId}), std::vector<bool>{true});
  EXPECT_EQ(reopened.count(), 5);

  // A repeated report is acknowledged, but not stored again. An id that is not a string of 1 to 64 bytes is ignored.
  const std::string repeated = R"({"id":"B","xwhat":"x"})";
  for (const std::string& event : {repeated, repeated, std::string(R"({"id":7})"), std::string(R"({"id":7})"),
                                   std::string(R"({"id":""})"), R"({"id":")" + std::string(65, 'i') + R"("})"}) {
    EXPECT_EQ(post(Endpoints::callback, R"({"events":[)" + event + "]}").at("code"), 0);
  }
  EXPECT_EQ(store.count(), 5);
  const auto text = lines.str();
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
}

TEST_F(EndpointsTest, ClientsGetCampaignsThatRequireExtensionsOnlyIfTheyNameThem) {
  CampaignReport report;
  campaigns.set(*parseCampaigns(R"({"testers":["ann"],"windows":[
    {"id":1,"style":3,"count":1,"event":{"xwhat":"a"}},
    {"id":2,"style":3,"count":1,"event":{"xwhat":"a"},"requires":["tester"]},
    {"id":3,"style":3,"count":1,"event":{"xwhat":"a"},"requires":["tester","reports"]},
    {"id":4,"style":3,"count":1,"event":{"xwhat":"a"},"requires":["later"]}]})",
                                report));
  EXPECT_THAT(report.warnings, testing::ElementsAre(HasSubstr("windows[3].requires[0]: this server offers no such")));
  const auto token = login();
  const auto ask = [&](std::string_view path, const std::string& members) {
    return post(path, R"({"token":")" + token + R"(",)" + members + "}");
  };
  const std::pair<const char*, std::size_t> cases[] = {
      {R"("userId":"ann")", 1},          {R"("extensions":["reports","unknown",7])", 1},
      {R"("extensions":["tester"])", 2}, {R"("extensions":["tester","reports","tester"])", 3},
      {R"("extensions":"tester")", 1},   {R"("extensions":["later"])", 2},
  };
  for (const auto& [members, expected] : cases)
    EXPECT_EQ(ask(Endpoints::inApp, members).at("data").as_array().size(), expected) << members;
  EXPECT_FALSE(
      ask(Endpoints::inApp, R"("extensions":["tester","reports"])").at("data").at(2).as_object().contains("requires"));

  const std::string asTester = R"("extensions":["tester"],"userId":)";
  EXPECT_EQ(ask(Endpoints::subscribe, asTester + R"("ann")").at("tester"), true);
  for (const auto& answer :
       {ask(Endpoints::subscribe, asTester + R"("bob")"), ask(Endpoints::inApp, asTester + R"("ann")"),
        ask(Endpoints::subscribe, R"("userId":"ann")")})
    EXPECT_FALSE(answer.contains("tester"));
  EXPECT_EQ(post(Endpoints::login, R"({"appKey":"k"})").at("extensions"), json::array({"tester", "reports"}));
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
