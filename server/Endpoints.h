// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json.hpp>
#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>

#include "Campaigns.h"
#include "EventStore.h"

namespace oq::server {

// An HTTP status and a JSON body.
struct Reply {
  int status = 200;
  std::string body;
};

// The body {"code":status,"message":message} with this HTTP status.
Reply refusal(int status, std::string_view message);

// The server's responses, independent of the transport. Bad input gets a refusal and changes nothing. If the database
// fails, the response is HTTP 500. All methods are safe to call from any thread and do not throw.
class Endpoints {
 public:
  static constexpr std::string_view login = "/push/sdk/login";
  static constexpr std::string_view inApp = "/push/sdk/in_app";
  static constexpr std::string_view subscribe = "/push/sdk/event/subscribe";
  static constexpr std::string_view trigger = "/push/sdk/event/trigger";
  static constexpr std::string_view callback = "/push/sdk/in_app/callback";
  static constexpr std::string_view paths[] = {login, inApp, subscribe, trigger, callback};

  // Each received event is stored and then written to `eventLines` as one line. An event with the id of an earlier one
  // is acknowledged, but neither stored nor written. The arguments must outlive this object; no other code may write to
  // `eventLines` meanwhile.
  Endpoints(EventStore& store, const CurrentCampaigns& campaigns, std::ostream& eventLines);

  // `path` is one of `paths`.
  Reply post(Environment environment, std::string_view path, std::string_view body);

  // Returns {"events":[...]}, the newest event last.
  Reply listEvents(const EventFilter& filter);

  // Returns the version, the environment, and the numbers of campaigns and events.
  Reply status(Environment environment);

 private:
  using Object = boost::json::object;

  Reply _answer(Environment environment, std::string_view path, const Object& request);
  Reply _login(const Object& request);
  Reply _list(Environment environment, const Object& request, bool windows);
  Reply _receive(Environment environment, std::string_view path, const Object& request);
  void _print(std::string_view time, std::string_view path, std::string_view user,
              const std::vector<ReceivedEvent>& events, const std::vector<bool>& stored);

  EventStore& _store;
  const CurrentCampaigns& _campaigns;
  std::mutex _printing;  // guards _eventLines
  std::ostream& _eventLines;
};

}  // namespace oq::server
