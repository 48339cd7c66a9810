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

/// The reports to the campaign server. If the server does not offer the extension "reports", each report is sent
/// immediately and only once. If the server offers it, a report gets an id and is written to the journal before it is
/// sent. It is sent again, also by later runs, until the server acknowledges or refuses it. Such reports are sent
/// oldest first, several per request, one request at a time.
///
/// Threads: any thread may call, also the main thread while its loop does not run: this class does not use the main
/// queue. send() writes the journal on the calling thread. One mutex guards all members and the journal; no callback
/// runs while it is held. Ownership: must be in a shared_ptr. Failure: a report that is sent only once is lost if this
/// fails. A report that the server refuses in a request of its own is lost. Both are logged. A report that cannot be
/// written to the journal is sent only once.
class OQReports : public std::enable_shared_from_this<OQReports> {
 public:
  using Kind = OQServerRequests::ReportKind;
  using Clock = DeadlineThread::Clock;

  static constexpr std::size_t mostPerRequest = 100;

  /// After the n-th failure in a row, the next attempt is made after a random time up to `first` * 2^(n-1), at most
  /// `longest`. If the server asks the client to wait (Retry-After), the attempt is not made earlier than that. This
  /// wait is limited to `longestAsked`.
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

  /// To be called after each login, with the values that the session then has. If the server offers the extension, the
  /// reports that earlier runs left in their journals are sent, too.
  void takeOffer(const OQSession::Values& session);
  /// Sends a report of the session's user, or writes it to the journal and sends it as soon as possible. Has no effect
  /// while consent is missing.
  void send(const OQSession::Values& session, Kind kind, const OQWindowEvent& event);
  /// The number of reports that are neither acknowledged nor lost.
  std::size_t pending() const;
  /// Waits until the reports that were passed to send() so far are acknowledged or lost, but at most this number of
  /// seconds. Reports in the journal are sent now, unless the server asked the client to wait. Returns earlier if no
  /// further attempt can be made within this time. Returns how many reports were not acknowledged, including those that
  /// were lost since the previous flush().
  std::size_t flush(double seconds);
  /// Drops all reports, also those of earlier runs and of other processes. Requests that are under way continue, but
  /// their answers are ignored.
  void removeAll();

 private:
  using Answer = OQServerRequests::ReportAnswer;
  struct Flush {
    std::uint64_t last = 0;  ///< the number of the newest report that the flush waits for
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
    /// Sent in a request of its own. Set when a request with several reports was refused: any of them may be the
    /// reason.
    bool isAlone = false;

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
  std::set<std::uint64_t> _once;  ///< the numbers of the reports that are sent only once, until their requests end
  std::vector<Flush*> _flushes;   ///< the calls of flush() that are waiting
  std::size_t _failures = 0;      ///< reports that were lost and that no flush() has counted yet
  std::uint64_t _drops = 0;       ///< how often all reports were dropped; answers to earlier requests are ignored

  OQReportJournal _journal;
  std::deque<Kept> _kept;                            ///< the reports in the journal, ordered by number
  std::optional<std::uint64_t> _offeredEnvironment;  ///< the one whose server offers the extension
  std::string _token;
  bool _isSending = false;         ///< a request with reports of the journal is under way
  bool _beganBeforeFlush = false;  ///< this request was already under way when flush() was called
  int _failuresInARow = 0;
  Clock::time_point _pausedUntil{}, _askedUntil{};
  std::optional<DeadlineThread::Ticket> _wakeUp;
  std::mt19937 _random{std::random_device{}()};
  bool _hasLoggedOverflow = false;
};

}  // namespace oq
