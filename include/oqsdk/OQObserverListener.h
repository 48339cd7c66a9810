// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/Value.h"

namespace oq {

/// What the engine can tell a host about itself. The engine that the facade hands out is one of these:
///
///     auto& engine = dynamic_cast<oq::OQObserverListener&>(oq::TorvelinOqManager::getObserverListener());
///     const oq::Value decisions = engine.recentDecisions();
///
/// Any thread may call anything.
class OQSDK_EXPORT OQObserverListener : public Object {
 public:
  ~OQObserverListener() override;

  /// Why a window was shown or was not: the last decisions, oldest first, kept in memory only. An array of
  /// dictionaries with
  ///
  /// - "time": milliseconds since 1970, a number
  /// - "event": the event's name as the host recorded it, cut after 95 bytes; null when there was none
  /// - "windowId": the window's id as the server sent it; null when no window takes part
  /// - "outcome": one of
  ///
  /// | outcome | the window |
  /// | --- | --- |
  /// | "no match" | the event satisfied no window's condition |
  /// | "another window matched first" | matched too, but one before it in the list was chosen |
  /// | "pre-condition not met" | matched, but waits for another event first |
  /// | "no record" | is not in the records of what was shown |
  /// | "count used up" | was shown as often as it may be |
  /// | "before start", "after end" | is not to be shown at this time |
  /// | "already shown in this run" | waits for the next start of the application |
  /// | "closed by the user in an earlier run" | is not to be shown any more |
  /// | "records are busy" | another process of the application kept the records for 250 ms; not counted |
  /// | "counted and handed to the screen" | is shown |
  /// | "waiting" | the event waits for a list of windows |
  /// | "dropped because the waiting array is full" | the event will not be looked at |
  ///
  /// An event that matched very many windows leaves an entry for the chosen one and for a few of the others.
  virtual Value recentDecisions() const = 0;
  /// The class name of the host's page that appeared last and could be collected; nullopt before the first.
  virtual std::optional<std::string> pageName() const = 0;
  /// How many decisions are kept, 256 unless told. Those at hand are forgotten; 0 keeps none.
  virtual void keepRecentDecisions(std::size_t most) = 0;

  /// The engine's state at this moment, a dictionary with
  ///
  /// - "environment": a number, as OQEnvironment has them
  /// - "isLoggedIn": whether there is a token of this run or an earlier one
  /// - "userId", "appId", "pageName": strings, or null before they are known
  /// - "waitingEvents": how many events wait for a list
  /// - "windows": an array of dictionaries: "windowId"; "event" and "preEvent", the names of the conditions, or null;
  ///   "count", how often it may be shown; "usedCount", how often it was; "startTime" and "endTime"
  /// - "subscriptions": an array of dictionaries: "windowId" and "event"
  /// - "decisions": as recentDecisions()
  ///
  /// OQDiagnosticsPanel shows it.
  virtual Value diagnostics() const = 0;

  // Tools for whoever integrates the library, also behind the buttons of an OQFloatingBall.

  /// Has the user's mail program show a message to the recipient with the newest log files, at most 16 of them. Nothing
  /// happens without a recipient, a window or a mail program.
  virtual void sendLogToEmail(const std::string& recipient) = 0;
  /// Asks the user for another environment; it is stored, and counts from the next start of the application on. Nothing
  /// happens without a window, and nothing is stored before the start.
  virtual void changeEnvironment() = 0;
  /// Records one sample event ten thousand times, from many threads at once.
  virtual void testMultipleThread() = 0;
};

}  // namespace oq
