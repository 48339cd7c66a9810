// SPDX-License-Identifier: Apache-2.0
#include "Requests/OQReports.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "Foundation/Values/Base64.h"
#include "Foundation/Values/Date.h"
#include "Foundation/Values/JSONSerialization.h"
#include "Foundation/Values/Number.h"
#include "Storage/OQUserDefaults.h"
#include "Utils/OQConsent.h"
#include "Utils/OQGuard.h"
#include "Utils/OQLogger.h"

namespace oq {

namespace {

/// In compact JSON. Requests contain indented JSON, which is longer, and servers limit the length of a request.
constexpr std::size_t kMostBytesPerRequest = 128u << 10;

DeadlineThread::Clock::time_point deadlineAfter(double seconds) {
  constexpr double longest = 1e9;  // about 30 years; does not overflow in nanoseconds
  const double wait = seconds > 0 ? std::min(seconds, longest) : 0;
  return DeadlineThread::after(
      std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(wait)));
}

}  // namespace

std::optional<OQReports::Kept> OQReports::Kept::from(const OQReportJournal::Entry& entry) {
  const JSONValue& report = entry.report;
  const JSONDictionary* event = valueForKey(report, "event").if_object();
  const JSONValue& userId = valueForKey(report, "userId");
  const std::int64_t kind = integerValue(valueForKey(report, "kind"));
  if (!event || !userId.is_string() || kind < 0 || kind > static_cast<std::int64_t>(Kind::WindowEvent))
    return std::nullopt;
  Kept kept;
  kept.id = entry.id;
  kept.kind = static_cast<Kind>(kind);
  kept.environment = static_cast<std::uint64_t>(integerValue(valueForKey(report, "environment")));
  kept.userId = userId.get_string();
  kept.event = *event;
  kept.bytes = compactJSON(report).size();
  return kept;
}

OQReportJournal::Entry OQReports::Kept::entry() const {
  return {id,
          {{"kind", static_cast<std::int64_t>(kind)},
           {"environment", static_cast<std::int64_t>(environment)},
           {"userId", userId},
           {"event", event}}};
}

bool OQReports::Kept::fitsWith(const Kept& first) const {
  return !isAlone && kind == first.kind && environment == first.environment && userId == first.userId;
}

OQReports::~OQReports() {
  if (_wakeUp) DeadlineThread::shared().cancel(*_wakeUp);
}

void OQReports::takeOffer(const OQSession::Values& session) {
  const auto offer = session.currentOffer();
  {
    std::lock_guard lock(_mutex);
    _offeredEnvironment.reset();
    if (!offer || !offer->reports) return;
    _offeredEnvironment = offer->environment;
    _token = session.token.value_or("");
    OQReportJournal::Adopted adopted = _journal.adopt();
    std::vector<std::string> unusable;
    for (const auto& entry : adopted.entries) {
      if (auto kept = Kept::from(entry)) {
        push(std::move(*kept));
      } else {
        unusable.push_back(entry.id);
      }
    }
    _journal.remove(unusable);
    drop(adopted.dropped, true);
    // A wait that is too long is ignored: the clock was changed after `notBefore` had been written.
    const double wait = adopted.notBefore - secondsSince1970(currentDate());
    const double longest = std::chrono::duration<double>(_pauses.longestAsked).count();
    if (wait > 0 && wait <= longest) _askedUntil = std::max(_askedUntil, deadlineAfter(wait));
  }
  sendKept();
}

void OQReports::send(const OQSession::Values& session, Kind kind, const OQWindowEvent& event) {
  if (OQConsent::isMissing()) return;
  const auto offer = session.currentOffer();
  if (offer && offer->reports && keep(session, kind, event)) return sendKept();
  sendOnce(session, kind, event);
}

bool OQReports::keep(const OQSession::Values& session, Kind kind, const OQWindowEvent& event) {
  Kept kept;
  kept.id = uuidString();
  kept.kind = kind;
  kept.environment = session.offer->environment;
  kept.userId = session.userId.value_or("");
  kept.event = event.toDictionary();
  kept.event["id"] = kept.id;
  const OQReportJournal::Entry entry = kept.entry();
  kept.bytes = compactJSON(entry.report).size();
  bool isOverflow = false;
  {
    std::lock_guard lock(_mutex);
    if (_journal.isRemovedByOthers()) dropAll();
    _token = session.token.value_or("");
    const OQReportJournal::Added added = _journal.add(entry);
    drop(added.dropped, true);
    if (!added.isStored) return false;
    push(std::move(kept));
    isOverflow = !added.dropped.empty() && !std::exchange(_hasLoggedOverflow, true);
  }
  if (isOverflow) OQLogger::error("Too many reports are waiting for the server. The oldest ones are dropped.");
  return true;
}

void OQReports::sendOnce(const OQSession::Values& session, Kind kind, const OQWindowEvent& event) {
  OQServerRequests::Reports reports{kind, session.token.value_or(""), session.userId.value_or(""),
                                    JSONArray{event.toDictionary()}};
  std::uint64_t number;
  {
    std::lock_guard lock(_mutex);
    number = ++_lastNumber;
    _once.insert(number);
  }
  OQServerRequests::sendReports(std::move(reports), [weak = weak_from_this(), number](const Answer& answer) {
    if (const auto self = weak.lock()) self->onceEnded(number, answer);
  });
}

void OQReports::onceEnded(std::uint64_t number, const Answer& answer) {
  std::lock_guard lock(_mutex);
  if (_once.erase(number) == 0) return;
  if (answer.outcome != OQServerRequests::ReportOutcome::Acknowledged) countFailure(number);
  _changed.notify_all();
}

void OQReports::sendKept() {
  const std::uint64_t environment = OQUserDefaults::environment();
  std::optional<Batch> batch;
  {
    std::lock_guard lock(_mutex);
    batch = nextBatch(environment);
  }
  if (!batch) return;
  auto answered = [weak = weak_from_this(), ids = batch->ids, drops = batch->drops](const Answer& answer) {
    if (const auto self = weak.lock()) self->batchEnded(ids, drops, answer);
  };
  OQServerRequests::sendReports(std::move(batch->reports), std::move(answered));
}

std::optional<OQReports::Batch> OQReports::nextBatch(std::uint64_t environment) {
  if (_isSending || _offeredEnvironment != environment) return std::nullopt;
  if (_journal.isRemovedByOthers()) dropAll();
  const auto first =
      std::find_if(_kept.begin(), _kept.end(), [&](const Kept& kept) { return kept.environment == environment; });
  if (first == _kept.end()) return std::nullopt;
  if (earliest() > Clock::now()) {
    wakeAt(earliest());
    return std::nullopt;
  }
  Batch batch{{first->kind, _token, first->userId, {}}, {}, _drops};
  std::size_t bytes = 0;
  for (auto next = first; next != _kept.end() && batch.ids.size() < mostPerRequest; ++next) {
    if (next != first && (first->isAlone || !next->fitsWith(*first))) continue;
    bytes += next->bytes;
    if (next != first && bytes > kMostBytesPerRequest) break;
    batch.reports.events.emplace_back(next->event);
    batch.ids.push_back(next->id);
  }
  _isSending = true;
  return batch;
}

void OQReports::batchEnded(const std::vector<std::string>& ids, std::uint64_t drops, const Answer& answer) {
  {
    std::lock_guard lock(_mutex);
    if (drops != _drops) return;  // the reports were dropped meanwhile
    _isSending = false;
    takeAnswer(ids, answer);
    _changed.notify_all();
  }
  sendKept();
}

void OQReports::takeAnswer(const std::vector<std::string>& ids, const Answer& answer) {
  using Outcome = OQServerRequests::ReportOutcome;
  const bool beganBeforeFlush = std::exchange(_beganBeforeFlush, false);
  if (answer.outcome == Outcome::Acknowledged) {
    _failuresInARow = 0;
    _journal.remove(ids);
    return drop(ids, false);
  }
  pause(answer.retryAfter);
  if (beganBeforeFlush) _pausedUntil = {};  // flush() promises an attempt that begins after its call
  if (answer.outcome == Outcome::Failed) return;
  if (ids.size() == 1) {
    _journal.remove(ids);
    return drop(ids, true);
  }
  for (Kept& kept : _kept) {
    if (std::find(ids.begin(), ids.end(), kept.id) != ids.end()) kept.isAlone = true;
  }
}

void OQReports::pause(std::chrono::seconds asked) {
  constexpr int mostDoublings = 30;
  const auto most = std::min<std::chrono::milliseconds>(
      _pauses.longest, _pauses.first * (std::int64_t{1} << std::min(_failuresInARow++, mostDoublings)));
  const auto random = std::uniform_int_distribution<std::int64_t>(0, most.count())(_random);
  _pausedUntil = Clock::now() + std::chrono::milliseconds(random);
  if (asked <= std::chrono::seconds::zero()) return;
  const auto wait = std::min(asked, std::chrono::ceil<std::chrono::seconds>(_pauses.longestAsked));
  _askedUntil = Clock::now() + wait;
  _journal.setNotBefore(secondsSince1970(currentDate() + wait));
}

void OQReports::wakeAt(Clock::time_point time) {
  if (_wakeUp && _wakeUp->first <= time && _wakeUp->first > Clock::now()) return;
  if (_wakeUp) DeadlineThread::shared().cancel(*_wakeUp);
  _wakeUp = DeadlineThread::shared().callAt(time, [weak = weak_from_this()] {
    DispatchQueue::background().async([weak] {
      guarded([&] {
        if (const auto self = weak.lock()) self->sendKept();
      });
    });
  });
}

void OQReports::push(Kept report) {
  report.number = ++_lastNumber;
  _kept.push_back(std::move(report));
}

void OQReports::drop(const std::vector<std::string>& ids, bool areLost) {
  if (ids.empty()) return;
  std::erase_if(_kept, [&](const Kept& kept) {
    if (std::find(ids.begin(), ids.end(), kept.id) == ids.end()) return false;
    if (areLost) countFailure(kept.number);
    return true;
  });
  _changed.notify_all();
}

void OQReports::dropAll() {
  ++_drops;
  _once.clear();
  _kept.clear();
  _journal.abandon();
  _isSending = false;
  _failures = 0;
  _changed.notify_all();
}

void OQReports::removeAll() {
  std::lock_guard lock(_mutex);
  _journal.removeAll();
  dropAll();
}

std::size_t OQReports::pending() const {
  std::lock_guard lock(_mutex);
  return _once.size() + _kept.size();
}

std::size_t OQReports::flush(double seconds) {
  const auto deadline = deadlineAfter(seconds);
  {
    std::lock_guard lock(_mutex);
    _pausedUntil = {};
    _beganBeforeFlush = _isSending;
  }
  sendKept();
  std::unique_lock lock(_mutex);
  Flush flush{_lastNumber, std::exchange(_failures, 0)};
  _flushes.push_back(&flush);
  _changed.wait_until(lock, deadline, [&] { return isOver(flush.last, deadline); });
  std::erase(_flushes, &flush);
  return flush.failed + openUpTo(flush.last);
}

/// True if nothing that can happen before the deadline changes the result of the flush.
bool OQReports::isOver(std::uint64_t last, Clock::time_point deadline) const {
  if (openUpTo(last) == 0) return true;
  const bool waitsForOthers = !_once.empty() && *_once.begin() <= last;
  if (waitsForOthers || _isSending) return false;
  const bool canSend = std::any_of(_kept.begin(), _kept.end(), [&](const Kept& kept) {
    return kept.number <= last && kept.environment == _offeredEnvironment;
  });
  return !canSend || earliest() > deadline;
}

std::size_t OQReports::openUpTo(std::uint64_t last) const {
  const auto once = std::distance(_once.begin(), _once.upper_bound(last));
  const auto kept = std::count_if(_kept.begin(), _kept.end(), [&](const Kept& each) { return each.number <= last; });
  return static_cast<std::size_t>(once + kept);
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
