// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "oqsdk/Export.h"
#include "oqsdk/Value.h"

namespace oq {

/// The result of a call.
struct Status {
  /// Why the call failed, in plain English; "" after success. A call that fails changes nothing.
  std::string error = "";
  /// Whether the call succeeded.
  explicit operator bool() const noexcept { return error.empty(); }
};

/// A message, as the callbacks receive it.
struct Message {
  std::string campaignId = "";  ///< As the server sent it.
  std::string event = "";       ///< The name of the event that caused the message.
  int style = 0;                ///< 1 picture, 2 picture and text, 3 text with two buttons, 4 web page.
};

/// What happened to a message. The reports to the server contain these numbers.
enum class MessageAction : std::int64_t {
  Shown = 1,
  Picture = 2,       ///< The user clicked the picture.
  Closed = 3,        ///< The user closed the message.
  LeftButton = 4,    ///< The user clicked the left button.
  RightButton = 5,   ///< The user clicked the right button.
  MiddleButton = 6,  ///< The user clicked the only button of style 2.
};

/// Reports what the user did with a message that the host draws itself (MessageHandlers::present). Copies report for
/// the same message. After the last copy is destroyed, the message no longer counts as being on screen.
class OQSDK_EXPORT MessageReporter {
 public:
  class State;                                               ///< Private to the library.
  explicit MessageReporter(std::shared_ptr<State> state);    ///< Only the library makes reporters.
  MessageReporter(const MessageReporter& other);             ///< Reports for the same message.
  MessageReporter& operator=(const MessageReporter& other);  ///< Reports for the same message.
  ~MessageReporter();

  /// Reports the action. A click also opens the link of the clicked part. The first report must be `Shown`, the second
  /// one is another action and ends the message. Returns false and reports nothing if the order is wrong, the message
  /// has ended, or the library has removed the message. Threads: any.
  bool report(MessageAction action) const;

 private:
  std::shared_ptr<State> _state;
};

/// The host's callbacks. Each may be empty. All but `mayShow` are called on the main thread; `mayShow` is called on the
/// thread that recorded the event, or, if the event had to wait for the campaigns, on a thread of the library. No lock
/// is held during a call, so a callback may call any function of Messages. An exception that leaves a
/// callback is caught and ignored; if `mayShow` throws, the message may be shown.
struct MessageHandlers {
  /// Called after all other rules have allowed the message, and before its display is counted. `false` means that the
  /// message is not shown; the event then shows no other message either.
  std::function<bool(const Message&)> mayShow;
  /// The message is completely on screen.
  std::function<void(const Message&)> shown;
  /// The message is on screen, but its picture could not be loaded. Called after `shown`.
  std::function<void(const Message&)> shownWithoutPicture;
  /// The user clicked a part of the message. The click has closed the message. If the part has a link, `link` is called
  /// next.
  std::function<void(const Message&, MessageAction part)> clicked;
  /// The user closed the message.
  std::function<void(const Message&)> closed;
  /// The library removed the message from the screen: it was dismissed, another user was set, consent was withdrawn,
  /// or the user was forgotten.
  std::function<void(const Message&)> removed;
  /// The user clicked a part with a link. `true` means that the callback has handled the link. Otherwise the library
  /// opens it: in a web page inside the application if that is possible, else in the system's browser.
  std::function<bool(const Message&, const std::string& url)> link;
  /// Draws the message instead of the library. `content` is a dictionary with keys of the campaign file: "style",
  /// "picture" and "clickEvent", and the parts "title", "content", "buttonLeft", "buttonMiddle" and "buttonRight". Each
  /// part is a dictionary with "text", "color", "background", "size" (in points) and, for a button, "clickEvent". What
  /// the campaign does not contain is missing. Keep the reporter as long as the message is on screen.
  ///
  /// Return `true` if the host draws the message. `false` leaves the message to the library, unless something was
  /// reported before. A web page (style 4) that the library cannot show either is then lost, although it was counted.
  std::function<bool(const Message&, const Value& content, MessageReporter reporter)> present;
};

/// The settings that Messages::start() needs.
struct MessageOptions {
  /// The application key that the server has issued.
  std::string appKey = "";
  /// The server's address, for example "https://messages.example.com". It replaces the address of the environment in
  /// use, as Messages::setServer() does. "" changes no address.
  std::string server = "";
  /// Whether the environment variable OQSDK_SERVER may replace the address. The variable is ignored in a program with
  /// raised privileges.
  bool serverFromEnvironment = false;
  /// If true, nothing is sent, stored or shown until Messages::giveConsent() is called, in this run or an earlier one.
  bool requireConsent = false;
  /// If true: while a message is on screen or about to appear, other messages are neither shown nor counted. By default
  /// a newer message appears on top. `false` does not undo an earlier call of Messages::setOneAtATime().
  bool oneAtATime = false;
};

/// Starts and controls the library in a host that records events itself:
///
///     oq::gtk::attach(window);
///     oq::Messages::setUser("user-1");
///     oq::Messages::start({"my-application", "https://messages.example.com"});
///     oq::Messages::record("start");
///
/// An analytics class named "TorvelinSDK", if there is one, is observed as well (see AnalyticsHook.h). Install a host
/// (GTK or headless) first.
///
/// Threads: every function may be called on any thread. Exceptions: none leaves a function, except std::bad_alloc.
class OQSDK_EXPORT Messages {
 public:
  Messages() = delete;

  /// Starts the library and logs in; a later call logs in again. Fails if the application key is empty or the server's
  /// address is not valid, and if there is an address but the stored environment is not one of OQEnvironment. On
  /// another thread than the main thread the first call waits until the main loop runs.
  static Status start(const MessageOptions& options);
  /// Sets the address of an environment (OQEnvironment) for this run: an https URL with a host, and optionally a port
  /// and a path that is put before the paths of all requests. "" restores the built-in address. Fails if there is no
  /// such environment or the URL has another form.
  static Status setServer(std::uint64_t environment, const std::string& url);

  /// Sets the user for whom campaigns are fetched, also for later runs. Best called before start(): then the first run
  /// gets campaigns already. Nothing is stored before the start. Fails if the id is empty.
  ///
  /// If another user was set before, nothing of that user's campaigns remains: messages on screen are removed, waiting
  /// events are dropped, and new lists are fetched. How often each campaign was shown on this device is kept.
  static Status setUser(const std::string& userId);
  /// Records an event now. A campaign may show a message for it. `properties` is a dictionary. Fails if the name is
  /// empty, `properties` is not a dictionary, or the library was not started.
  static Status record(const std::string& event, const Value& properties = Dictionary());

  /// Replaces all callbacks. When this function returns, a former callback may still be running on another thread; the
  /// former callbacks are destroyed after that.
  static void setHandlers(MessageHandlers handlers);

  /// From now on no message appears. An event that matches is used up: its message is not shown later either, and the
  /// display is not counted. A message that was counted before, but is not on screen yet, waits for resume().
  static void hold();
  /// Ends hold(). Waiting messages appear.
  static void resume();
  static bool isHeld();  ///< True from hold() until resume().
  /// See MessageOptions::oneAtATime.
  static void setOneAtATime(bool oneAtATime);
  /// Removes the newest message from the screen. Nothing is reported to the server, and the message does not count as
  /// closed by the user.
  static void dismiss();

  /// Stores that the user consents, also for later runs. If consent was missing and start() was called, the library
  /// logs in. If it cannot be stored, it holds in this run only, and the status is an error.
  static Status giveConsent();
  /// Withdraws the consent, also for later runs, even if they do not set MessageOptions::requireConsent.
  /// Requests under way are cancelled, reports that were not sent are dropped, and messages and pages are removed from
  /// the screen without a report. Everything else that is stored stays; see forget(). If the withdrawal cannot be
  /// stored, it holds in this run only, and the status is an error.
  static Status withdrawConsent();
  /// False if consent was withdrawn, and if consent is required and was not given.
  static bool hasConsent();
  /// What forget() removes.
  enum class Forget {
    Everything,
    KeepDevice,  ///< Keeps the identifiers of this installation.
  };
  /// Removes everything that the library has stored about the user and the device: user id, token, campaigns, how often
  /// they were shown, waiting events and reports, log files, pictures, web data, and the identifiers of this
  /// installation. Keeps the environment and a withdrawn consent. Other running processes of the application forget the
  /// user, and remove their messages from the screen, when they next decide whether to show a message. May wait some
  /// seconds for the desktop's keychain, or for a process that uses the counts. Nothing is fetched before start() is
  /// called again.
  static void forget(Forget what = Forget::Everything);

  /// Fetches the campaigns now, even if they were already fetched today. Has no effect before the server has answered
  /// the login of this run, or without a user.
  static void refresh();
  /// Waits until the server has acknowledged all reports or they have failed, at most this many seconds (0 or more).
  /// Returns how many reports were not acknowledged; reports that were lost since the previous flush() count as well.
  /// The library continues to work after the call.
  static std::size_t flush(double seconds);

  /// The kind of an entry of the log.
  enum class LogLevel { Info, Error };
  /// Passes each entry of the library's log to the handler, without the session's token; nullptr removes the handler.
  /// The handler is called on the thread that logs. If a former handler is running on another thread, this function
  /// waits until that call has returned, except when called by a handler.
  static void setLogHandler(std::function<void(LogLevel, std::string_view entry)> handler);
  /// Limits each log file to this many bytes; a full file is followed by a new one, and at most ten files are kept.
  /// With 0 no files are written. By default each run writes one file without a limit.
  static void setLogFileLimit(std::uint64_t bytes);
};

}  // namespace oq
