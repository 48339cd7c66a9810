// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Foundation/Values/JSONValue.h"
#include "Model/OQWindowData.h"
#include "Model/OQWindowEvent.h"
#include "Requests/OQSession.h"
#include "Utils/OQSerialExecutor.h"

namespace oq {

/// The requests to the campaign server: their paths, their bodies, and the check of their answers. Each is a POST with
/// its own OQNetwork.
///
/// Threads: any thread may call; callbacks run on the HTTP client's queue. The answers to list requests are handled one
/// after the other. Ownership: `owner` is the object that holds this one. A running request keeps a weak_ptr to the
/// owner: the answer is ignored if the owner is gone, and the owner stays alive while a callback runs. Requests with
/// reports have no owner. Failure: a request that fails, a status other than 200 and an answer whose "code" is not 0
/// are logged, and the callback does not run; the callback of reports always runs. Nothing is retried.
class OQServerRequests {
 public:
  using Session = OQSession::Values;
  using Owner = std::weak_ptr<const void>;
  /// Called with an answer whose "code" is 0.
  using Answered = std::function<void(const JSONValue& answer)>;
  /// Called with the campaigns of an answer whose "code" is 0. The array is never empty.
  using Campaigns = std::function<void(const JSONArray& records)>;

  /// What a report is about: an event that the server subscribed to, or what happened to a window or a push message.
  enum class ReportKind { SubscribedEvent, WindowEvent };
  struct Reports {
    ReportKind kind{};
    std::string token;
    std::string userId;
    JSONArray events;  ///< in the form of OQWindowEvent::toDictionary()
  };
  enum class ReportOutcome {
    Acknowledged,  ///< status 200 and "code" 0
    Refused,       ///< would be refused again if it were sent again: another "code", or a status 4xx except 408 and 429
    Failed,        ///< no answer, or any other answer
  };
  struct ReportAnswer {
    ReportOutcome outcome{};
    std::chrono::seconds retryAfter{0};  ///< how long the server asks the client to wait; 0 if it does not
  };
  using ReportsAnswered = std::function<void(ReportAnswer answer)>;

  static void login(const Session& session, Owner owner, Answered answered);
  void getInAppList(const Session& session, Owner owner, Campaigns take);
  /// `answered` is called before `take`, with the whole answer, also if the answer contains no campaigns.
  void getSubscribeList(const Session& session, Owner owner, Campaigns take, Answered answered = nullptr);
  /// Sends the reports in one request. `answered` is called exactly once, also if the request is cancelled.
  static void sendReports(Reports reports, ReportsAnswered answered);

  /// The report of what happened to a window, with the current time and the session's user. `type` is an
  /// OQWindowAction; 0 is left out of the event.
  static std::shared_ptr<OQWindowEvent> windowEvent(const Session& session, const std::optional<std::string>& name,
                                                    std::int64_t type, const OQWindowData& window);
  /// The report of a push message: type 0 is its delivery, 1 a click on it. nullptr for any other type, and for a
  /// message that is not a dictionary.
  static std::shared_ptr<OQWindowEvent> pushEvent(const Session& session, std::uint64_t type, const JSONValue& msg);

 private:
  void getList(const char* path, const char* entry, const Session& session, Owner owner, Campaigns take,
               Answered answered);

  OQSerialExecutor _listAnswers;
};

}  // namespace oq
