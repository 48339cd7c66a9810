// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "Dispatch/DeadlineThread.h"
#include "Foundation/Networking/URLSession.h"
#include "Model/OQWindowEvent.h"
#include "Requests/OQServerRequests.h"
#include "Requests/OQSession.h"
#include "Storage/OQReportJournal.h"

namespace oq {

/// The reports to the campaign server. Without an offer of the extension "reports", each report is sent once, at once.
/// With it, a report gets an id and goes to the journal before it is sent, and is sent again until the server
/// acknowledges or refuses it, also by later runs. Such reports are sent oldest first, several per request, one request
/// at a time.
///
/// Threads: any thread may call, also the main thread while it does not run its loop: nothing here uses the main queue.
/// send() writes the journal on the calling thread. One mutex guards everything; no other code is called while it is
/// held. Ownership: must be in a shared_ptr. Failure: a report that is sent once and fails is logged and lost, and so
/// is one that the server refuses. A report that cannot be written to the journal is sent once.
class OQReports : public std::enable_shared_from_this<OQReports> {
 public:
  using Kind = OQServerRequests::ReportKind;
  using Clock = DeadlineThread::Clock;

  static constexpr std::size_t mostPerRequest = 100;

  /// After the n-th failure in a row, the next attempt is made after a random time up to `first` * 2^(n-1), at most
  /// `longest`. If the server asks for a time (Retry-After), it is not made earlier, but this time is limited to
  /// `longestAsked`.
  struct Pauses {
    std::chrono::milliseconds first = std::chrono::seconds(1);
    std::chrono::milliseconds longest = std::chrono::minutes(15);
    std::chrono::milliseconds longestAsked = std::chrono::hours(1);
  };

  OQReports() : OQReports(Pauses()) {}
  explicit OQReports(const Pauses& pauses) : _pauses(pauses) {}
  ~OQReports();
  OQReports(const OQReports&) = delete;
  OQReports& operator=(const OQReports&) = delete;

  /// Called after each login. With an offer, the reports of earlier runs are sent, too.
  void takeOffer(const OQSession::Values& session);
  /// Hands over a report of the session's user.
  void send(const OQSession::Values& session, Kind kind, const OQWindowEvent& event);
  /// The number of reports that are neither acknowledged nor lost.
  std::size_t pending() const;
  /// Waits until the reports that were handed over so far have succeeded or failed, but at most this number of seconds.
  /// Reports in the journal are sent now, unless the server asked to wait; the call does not wait for attempts after
  /// the limit. Returns how many reports did not succeed; reports that were lost since the previous flush count as
  /// well.
  std::size_t flush(double seconds);
  /// Drops all reports, also those of earlier runs and of other processes. Requests that are under way continue, but
  /// their answers are ignored.
  void removeAll();

 private:
  using Answer = OQServerRequests::ReportAnswer;
  struct Flush {
    std::uint64_t last = 0;  ///< the newest report it waits for
    std::size_t failed = 0;
  };
  /// A report in the journal.
  struct Kept {
    std::uint64_t number = 0;
    std::string id;
    Kind kind{};
    std::uint64_t environment = 0;
    std::string userId;
    JSONDictionary event;
    std::size_t bytes = 0;
    bool isAlone = false;  ///< after its request was refused: one of the others may be the reason

    static std::optional<Kept> from(const OQReportJournal::Entry& entry);
    OQReportJournal::Entry entry() const;
    bool fitsWith(const Kept& first) const;
  };
  struct Batch {
    OQServerRequests::Reports reports;
    std::vector<std::string> ids;
    std::uint64_t drops = 0;
  };

  bool keep(const OQSession::Values& session, Kind kind, const OQWindowEvent& event);
  void sendOnce(const OQSession::Values& session, Kind kind, const OQWindowEvent& event);
  void onceEnded(std::uint64_t number, const Answer& answer);

  void sendKept();
  std::optional<Batch> nextBatch(std::uint64_t environment);
  void batchEnded(const std::vector<std::string>& ids, std::uint64_t drops, const Answer& answer);
  void takeAnswer(const std::vector<std::string>& ids, const Answer& answer);
  void pause(std::chrono::seconds asked);
  Clock::time_point earliest() const { return std::max(_pausedUntil, _askedUntil); }
  void wakeAt(Clock::time_point time);

  void push(Kept report);
  void drop(const std::vector<std::string>& ids, bool areLost);
  void dropAll();
  void countFailure(std::uint64_t number);
  bool isOver(std::uint64_t last, Clock::time_point deadline) const;
  std::size_t openUpTo(std::uint64_t last) const;

  const Pauses _pauses;
  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::uint64_t _lastNumber = 0;
  std::set<std::uint64_t> _once;  ///< the reports that are sent once and have not ended
  std::vector<Flush*> _flushes;   ///< that wait
  std::size_t _failures = 0;      ///< that no flush has counted
  std::uint64_t _drops = 0;       ///< how often all reports were dropped; answers from before do not count

  OQReportJournal _journal;
  std::deque<Kept> _kept;                            ///< what is in the journal, ordered by number
  std::optional<std::uint64_t> _offeredEnvironment;  ///< whose server offers the extension
  std::string _token;
  bool _isSending = false;         ///< a request with kept reports is under way
  bool _beganBeforeFlush = false;  ///< that request was under way when flush() was called
  int _failuresInARow = 0;
  Clock::time_point _pausedUntil{}, _askedUntil{};
  std::optional<DeadlineThread::Ticket> _wakeUp;
  std::mt19937 _random{std::random_device{}()};
  bool _hasLoggedOverflow = false;
};

}  // namespace oq
