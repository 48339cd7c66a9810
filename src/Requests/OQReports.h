// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include "Foundation/Networking/URLSession.h"
#include "Model/OQWindowEvent.h"
#include "Requests/OQServerRequests.h"
#include "Requests/OQSession.h"

namespace oq {

/// The reports to the campaign server. Each is sent once, at once.
///
/// Threads: any thread may call, also the main thread while it does not run its loop: nothing here uses the main queue.
/// Ownership: must be in a shared_ptr. Failure: a report that fails is logged and lost.
class OQReports : public std::enable_shared_from_this<OQReports> {
 public:
  using Kind = OQServerRequests::ReportKind;

  OQReports() = default;
  OQReports(const OQReports&) = delete;
  OQReports& operator=(const OQReports&) = delete;

  /// Hands over a report of the session's user.
  void send(const OQSession::Values& session, Kind kind, const OQWindowEvent& event);
  /// The number of reports that are on their way.
  std::size_t pending() const;
  /// Waits until the reports that were handed over so far have succeeded or failed, but at most this number of seconds.
  /// Returns how many of them did not succeed; reports that failed since the previous flush count as well.
  std::size_t flush(double seconds);
  /// Drops all reports. What is already being written to the network may still reach the server.
  void removeAll();

 private:
  using Outcome = OQServerRequests::ReportOutcome;
  struct Flush {
    std::uint64_t last = 0;  ///< the newest report it waits for
    std::size_t failed = 0;
  };

  void ended(std::uint64_t number, Outcome outcome);
  void countFailure(std::uint64_t number);

  mutable std::mutex _mutex;
  std::condition_variable _changed;
  std::uint64_t _lastNumber = 0;
  std::set<std::uint64_t> _open;  ///< reports that have neither succeeded nor failed
  std::vector<Flush*> _flushes;   ///< that wait
  std::size_t _failures = 0;      ///< that no flush has counted
  std::shared_ptr<URLCancellation> _cancellation = std::make_shared<URLCancellation>();
};

}  // namespace oq
