// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "oqsdk/Export.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/Value.h"

namespace oq {

/// The part of the library's engine, which matches events with campaigns and shows messages, that a host can use:
///
///     const oq::Value decisions = oq::TorvelinOqManager::engine().recentDecisions();
///     for (const oq::Value& decision : decisions) std::cout << decision.at("outcome").toString() << "\n";
///
/// Threads: any. Exceptions: none leaves a function, except std::bad_alloc.
class OQSDK_EXPORT OQObserverListener : public Object {
 public:
  ~OQObserverListener() override;

  /// Returns the newest decisions (why an event showed a window or not), oldest first. They are kept in memory only.
  /// The result is an array of dictionaries with
  ///
  /// - "time": milliseconds since 1970, a number
  /// - "event": the event's name as the host recorded it, at most its first 95 bytes; null if the event has no name
  /// - "windowId": the window's id as the server sent it; null if no window takes part
  /// - "outcome": one of
  ///
  /// | outcome | the window |
  /// | --- | --- |
  /// | "no match" | the event satisfied no window's condition |
  /// | "another window matched first" | matched too, but a window before it in the list was chosen |
  /// | "pre-condition not met" | matched, but waits for another event first |
  /// | "no record" | has no record that counts its displays |
  /// | "count used up" | was shown as often as allowed |
  /// | "before start", "after end" | may not be shown at this time |
  /// | "already shown in this run" | waits for the next start of the application |
  /// | "closed by the user in an earlier run" | will not be shown again |
  /// | "records are busy" | another process of the application kept the records locked for 250 ms; not counted |
  /// | "cannot be shown by this host" | is a web page, and the host has no web engine; not counted |
  /// | "held by the host" | was refused because of Messages::hold(); not counted |
  /// | "another message is shown" | was refused because only one may be shown at a time; not counted |
  /// | "refused by the host" | was refused by MessageHandlers::mayShow; not counted |
  /// | "the user has changed" | belongs to the former user; not counted |
  /// | "counted and handed to the screen" | is shown, at once or as soon as the screen is available |
  /// | "waiting" | the event waits for the first list of windows |
  /// | "dropped because the waiting array is full" | the event is ignored, because too many events wait |
  ///
  /// "Not counted" means that the decision does not use up one of the window's displays ("count"). If an event matches
  /// very many windows, only the chosen one and a few of the others have an entry.
  virtual Value recentDecisions() const = 0;
  /// The class name of the host's page that appeared last; nullopt before the first page. Pages that appear while
  /// TorvelinOqManager::setAutoCollectPage() is off do not count.
  virtual std::optional<std::string> pageName() const = 0;
  /// Sets how many decisions are kept. The default is 256; 0 keeps none. Removes all decisions that were kept so far.
  virtual void keepRecentDecisions(std::size_t most) = 0;

  /// The engine's current state, a dictionary with
  ///
  /// - "environment": a number, one of OQEnvironment
  /// - "isLoggedIn": a boolean, whether there is a token of this run or an earlier one
  /// - "userId", "appId", "pageName": strings; null while unknown
  /// - "waitingEvents": how many events wait for a list
  /// - "windows": an array of dictionaries with "windowId"; "event" and "preEvent", the names of the conditions, or
  ///   null; "count", how often the window may be shown; "usedCount", how often it was shown; "startTime" and "endTime"
  ///   as the server sent them
  /// - "subscriptions": an array of dictionaries with "windowId" and "event"
  /// - "decisions": as recentDecisions() returns them
  ///
  /// OQDiagnosticsPanel shows this state.
  virtual Value diagnostics() const = 0;

  // Tools for developers who integrate the library. A host can offer them on the buttons of an OQFloatingBall.

  /// Opens an e-mail to the recipient in the user's mail program, with the newest log files (at most 16) attached. Has
  /// no effect without a recipient, a window or a mail program. Returns at once.
  virtual void sendLogToEmail(const std::string& recipient) = 0;
  /// Shows an alert in which the user can choose another environment, and stores the choice. The alert also asks the
  /// user to restart the application. Has no effect without a window. Stores nothing if the library was not started.
  /// Returns at once.
  virtual void changeEnvironment() = 0;
  /// Records a sample event ten thousand times, on many threads in parallel. Returns at once.
  virtual void testMultipleThread() = 0;
};

}  // namespace oq
