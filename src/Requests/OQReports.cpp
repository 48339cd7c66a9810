// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQReports.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <utility>

#include "Dispatch/DeadlineThread.h"

namespace oq {

namespace {

DeadlineThread::Clock::time_point deadlineAfter(double seconds) {
  constexpr double longest = 1e9;  // about 30 years, in nanoseconds still a valid number
  const double wait = seconds > 0 ? std::min(seconds, longest) : 0;
  return DeadlineThread::after(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(wait)));
}

}  // namespace

void OQReports::send(const OQSession::Values& session, Kind kind, const OQWindowEvent& event) {
  OQServerRequests::Reports reports{kind, session.token.value_or(""), session.userId.value_or(""),
                                    JSONArray{event.toDictionary()}};
  std::uint64_t number;
  std::shared_ptr<URLCancellation> cancellation;
  {
    std::lock_guard lock(_mutex);
    number = ++_lastNumber;
    _open.insert(number);
    cancellation = _cancellation;
  }
  OQServerRequests::sendReports(std::move(reports), std::move(cancellation),
                                [weak = weak_from_this(), number](OQServerRequests::ReportAnswer answer) {
                                  if (const auto self = weak.lock()) self->ended(number, answer.outcome);
                                });
}

std::size_t OQReports::pending() const {
  std::lock_guard lock(_mutex);
  return _open.size();
}

std::size_t OQReports::flush(double seconds) {
  const auto deadline = deadlineAfter(seconds);
  std::unique_lock lock(_mutex);
  Flush flush{_lastNumber, std::exchange(_failures, 0)};
  _flushes.push_back(&flush);
  _changed.wait_until(lock, deadline, [&] { return _open.empty() || *_open.begin() > flush.last; });
  std::erase(_flushes, &flush);
  const auto open = std::distance(_open.begin(), _open.upper_bound(flush.last));
  return flush.failed + static_cast<std::size_t>(open);
}

void OQReports::removeAll() {
  std::lock_guard lock(_mutex);
  _cancellation->cancel();
  _cancellation = std::make_shared<URLCancellation>();
  _open.clear();
  _failures = 0;
  _changed.notify_all();
}

void OQReports::ended(std::uint64_t number, Outcome outcome) {
  std::lock_guard lock(_mutex);
  if (_open.erase(number) == 0) return;
  if (outcome != Outcome::Acknowledged) countFailure(number);
  _changed.notify_all();
}

void OQReports::countFailure(std::uint64_t number) {
  bool isCounted = false;
  for (Flush* flush : _flushes) {
    if (number > flush->last) continue;
    ++flush->failed;
    isCounted = true;
  }
  if (!isCounted) ++_failures;
}

}  // namespace oq
