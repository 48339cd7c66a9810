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

/// What happened to a message. The numbers are those of the reports.
enum class MessageAction : std::int64_t {
  Shown = 1,
  Picture = 2,       ///< The user clicked the picture.
  Closed = 3,        ///< The user closed the message.
  LeftButton = 4,    ///< The user clicked the left button.
  RightButton = 5,   ///< The user clicked the right button.
  MiddleButton = 6,  ///< The user clicked the only button of style 2.
};

/// Reports what the user did with a message that the host draws itself (MessageHandlers::present). Copies report for
/// the same message. When the last copy is destroyed, the message counts as gone.
class OQSDK_EXPORT MessageReporter {
 public:
  class State;                                               ///< Private to the library.
  explicit MessageReporter(std::shared_ptr<State> state);    ///< Only the library makes reporters.
  MessageReporter(const MessageReporter& other);             ///< Reports for the same message.
  MessageReporter& operator=(const MessageReporter& other);  ///< Reports for the same message.
  ~MessageReporter();

  /// Reports the action; a click also opens the link of that part. The first report must be `Shown`. Any other action
  /// ends the message. Returns false, and reports nothing, in any other order, after the end, and when the library has
  /// removed the message. Threads: any.
  bool report(MessageAction action) const;

 private:
  std::shared_ptr<State> _state;
};

/// The host's callbacks. Each may be empty. All but `mayShow` are called on the main thread; `mayShow` is called on the
/// thread that recorded the event. No lock is held during a call, so a callback may call any function of Messages.
/// An exception that leaves a callback is caught and ignored; if `mayShow` ends with one, the message may be shown.
struct MessageHandlers {
  /// Asked after all other rules have allowed the message, and before it is counted. `false` means that the message is
  /// not shown: the event is used up and no other campaign is tried.
  std::function<bool(const Message&)> mayShow;
  /// The message is completely on screen.
  std::function<void(const Message&)> shown;
  /// The message is on screen, but its picture could not be loaded. Called after `shown`.
  std::function<void(const Message&)> shownWithoutPicture;
  /// The user clicked a part of the message, which is gone now. `link` follows if the part has a link.
  std::function<void(const Message&, MessageAction part)> clicked;
  /// The user closed the message.
  std::function<void(const Message&)> closed;
  /// The library removed the message from the screen: it was dismissed, another user was set, consent was withdrawn,
  /// or the user was forgotten.
  std::function<void(const Message&)> removed;
  /// A link was clicked. `true` means that the host has handled it. Otherwise the library opens it: in a page of the
  /// application if the host can show web pages, else in the system's browser.
  std::function<bool(const Message&, const std::string& url)> link;
  /// Draws the message in place of the library. `content` is a dictionary in the form of the campaign file: "style",
  /// "picture", "clickEvent", and "title", "content", "buttonLeft", "buttonMiddle" and "buttonRight" with "text",
  /// "color", "background", "size" (points) and "clickEvent"; parts that the campaign does not have are missing. Keep
  /// the reporter as long as the message is on screen. `false`, before anything was reported, means that the library is
  /// to show the message; a web page (style 4) that it cannot show is then lost, although it was counted.
  std::function<bool(const Message&, const Value& content, MessageReporter reporter)> present;
};

/// The settings that Messages::start() needs.
struct MessageOptions {
  /// The application key that the server has issued.
  std::string appKey = "";
  /// The server's address, for example "https://messages.example.com". It replaces the address that was built in for
  /// the environment in use; see Messages::setServer(). "" keeps that one.
  std::string server = "";
  /// Whether the environment variable OQSDK_SERVER may replace the address. It is ignored in a program with raised
  /// privileges.
  bool serverFromEnvironment = false;
  /// Nothing is sent, stored or shown until Messages::giveConsent() is called, in this run or an earlier one.
  bool requireConsent = false;
  /// While a message is on screen or about to appear, other messages are neither shown nor counted. By default a newer
  /// message appears on top. `false` changes nothing that Messages::setOneAtATime() has set.
  bool oneAtATime = false;
};

/// The library for a host that records events itself:
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
  /// address is not valid. On another thread than the main thread the first call waits until the main loop runs.
  static Status start(const MessageOptions& options);
  /// Sets the address of an environment (OQEnvironment) for this run: an https URL with a host, and optionally a port
  /// and a path that is put before the paths of all requests. "" restores the built-in address.
  static Status setServer(std::uint64_t environment, const std::string& url);

  /// Sets the user for whom campaigns are fetched, also for later runs. Best called before start(): then the first run
  /// gets campaigns already. Nothing is stored before the start. Fails if the id is empty.
  ///
  /// Another user than before gets nothing of the former one's campaigns: messages on screen are removed, waiting
  /// events are dropped, and new lists are fetched. How often each campaign was shown on this device is kept.
  static Status setUser(const std::string& userId);
  /// Records an event now. A campaign may show a message for it. `properties` is a dictionary. Fails if the name is
  /// empty, the properties are of another kind, or the library was not started.
  static Status record(const std::string& event, const Value& properties = Dictionary());

  /// Replaces all callbacks. A callback of the former ones may still be running on another thread when this returns; it
  /// is destroyed after its last call.
  static void setHandlers(MessageHandlers handlers);

  /// From now on no message appears. Events that match are used up and not counted. A message that was counted before,
  /// but is not on screen yet, waits for resume().
  static void hold();
  /// Ends hold(). Waiting messages appear.
  static void resume();
  static bool isHeld();  ///< Whether hold() was called last.
  /// See MessageOptions::oneAtATime.
  static void setOneAtATime(bool oneAtATime);
  /// Removes the newest message on screen. Nothing is reported, and the message does not count as closed by the user.
  static void dismiss();

  /// Gives the user's consent, and keeps it for later runs. If start() was called, the library logs in.
  static void giveConsent();
  /// Withdraws it, also for later runs, in which it remains withdrawn even without MessageOptions::requireConsent.
  /// Requests under way are cancelled, reports that were not sent are dropped, and messages and pages are removed from
  /// the screen without a report. Everything else that is stored stays; see forget().
  static void withdrawConsent();
  /// False while consent is required and not given, or withdrawn.
  static bool hasConsent();
  /// What forget() removes.
  enum class Forget {
    Everything,
    KeepDevice,  ///< Keeps the identifiers of this installation.
  };
  /// Removes everything that the library has stored about the user and the device: user id, token, campaigns, how often
  /// they were shown, waiting events and reports, log files, pictures, web data, and the identifiers of this
  /// installation. Keeps the environment and a withdrawn consent. Other running processes of the application remove
  /// theirs when a message is due next. May wait some seconds for the desktop's keychain, or for a process that uses
  /// the counts. Nothing is fetched before start() is called again.
  static void forget(Forget what = Forget::Everything);

  /// Fetches the campaigns now, even if they were fetched today. Does nothing before the login was answered, or
  /// without a user.
  static void refresh();
  /// Waits until the server has acknowledged all reports, at most this many seconds (0 or more). Returns how many were
  /// not sent. The library works as before afterwards.
  static std::size_t flush(double seconds);

  /// The kind of an entry of the log.
  enum class LogLevel { Info, Error };
  /// Passes each entry of the library's log to the handler, without the session's token; nullptr ends this. The handler
  /// is called on the thread that logs. This function waits for a call that is running on another thread.
  static void setLogHandler(std::function<void(LogLevel, std::string_view entry)> handler);
  /// Limits each log file to this many bytes; a full file is followed by a new one, and at most ten are kept. 0 writes
  /// no files. By default each run writes one file without a limit.
  static void setLogFileLimit(std::uint64_t bytes);
};

}  // namespace oq
