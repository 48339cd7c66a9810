// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Engine/OQCampaignStore.h"
#include "Engine/OQDisplayDecisions.h"
#include "Engine/OQMessageControl.h"
#include "Foundation/Values/JSONValue.h"
#include "Requests/OQNetwork.h"
#include "Requests/OQReports.h"
#include "Requests/OQServerRequests.h"
#include "Requests/OQSession.h"
#include "UI/OQPopWindow.h"
#include "Utils/OQSerialExecutor.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/TorvelinOqConfig.h"

namespace oq {

class UIViewController;

/// The engine behind the public facade and the analytics hook. It passes events to the decisions, shows windows, and
/// sends reports. State and work are in six classes: OQSession (the user), OQCampaignStore (lists, records, waiting
/// events, files), OQDisplayDecisions (what an event shows), OQMessageControl (what the host decides), OQServerRequests
/// and OQReports.
///
/// Threads: every method may be called from any thread. Analytics events are matched on the thread that records them;
/// answers are handled on the HTTP client's queue; windows are presented, and their actions handled, on the main queue.
/// No lock is held while anything outside the engine is called; the order of locks is in OQCampaignStore. Ownership:
/// the engine is in a shared_ptr. Answers hold it weakly, a window on screen holds it strongly. Failure: errors are
/// logged; nothing is retried.
class OQSDKManager : public OQObserverListener, public std::enable_shared_from_this<OQSDKManager> {
  OQ_CLASS(OQSDKManager)

 public:
  using Windows = OQCampaignStore::Windows;
  using Events = OQCampaignStore::Events;
  /// Reports what happened to a window on screen, and the link. The codes are 1 shown, 2 picture, 3 closed, 4 left, 5
  /// right and 6 middle button.
  using WindowAction = std::function<void(std::int64_t code, const JSONValue& link)>;

  /// The engine of the process, created at the first call. It is never destroyed: threads may still report to it
  /// while the process ends.
  static OQSDKManager& sharedManager();

  /// The campaigns and records of earlier runs are read when they are first needed. Hosts must not use this
  /// constructor: only tests create a second engine in one process. A shared_ptr must own it.
  explicit OQSDKManager(std::shared_ptr<OQMessageControl> control = std::make_shared<OQMessageControl>())
      : _control(std::move(control)) {}

  /// Installs the hooks (once per process), keeps the configuration and logs in (at every call).
  void startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration);
  /// The same for a host that need not have an analytics library.
  void startWithoutAnalytics(std::shared_ptr<TorvelinOqConfig> configuration);
  /// Hooks the analytics library, so that its events reach the shared engine. Without that library it warns.
  void exchangeMethod();
  /// Stores the environment through the shared engine's configuration. Does nothing without a configuration.
  static void setEnvironment(std::uint64_t environment);
  /// The stored environment, read at each call; 0 if there is none.
  static std::uint64_t getEnvironment();
  bool autoCollectPage() const { return _autoCollectPageInfo; }
  void setAutoCollectPage(bool collect) { _autoCollectPageInfo = collect; }

  void login();
  /// Fetches the subscriptions, and the windows once per calendar day. Does nothing without a token and a user id.
  /// A tester (see docs/server.md) fetches the windows whatever the day.
  void getListData();
  /// Fetches both lists if the user is a tester.
  void returnedToForeground();
  void getInAppList();
  void getSubscribeList();

  /// Receives an event of the analytics library. Anything but a dictionary is ignored.
  void onEventDataReceived(const JSONValue& info);
  void triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event);
  void triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event);
  void triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event);
  /// Sends an event that the server subscribed to.
  void triggerEvent(const std::shared_ptr<OQWindowEvent>& event);
  void autoPageCollected(const std::string& name) { setPageName(name); }
  void pushTrack(std::uint64_t type, const JSONValue& msg) { reportPushEventWithType(type, msg); }

  /// Whether the window may be shown now. If so, the display has been counted and written.
  /// The host is not asked.
  bool readyToShowWithData(const OQWindowData& window) { return _decisions.decide(window) == OQDecision::Shown; }
  void _showWindowWithData(const std::shared_ptr<OQWindowData>& window);
  /// Counts one display of the node and writes the records.
  void syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Allows windows that the user has not closed to be shown again. Only the first call has an effect.
  void clearTreeNodeActivateState() { _store->clearActivated(); }
  /// Writes the records as they are in memory, whatever other processes of the application wrote.
  void syncRecordTree() { _store->syncRecords(); }
  void syncInAppData() { _store->syncList(OQCampaignStore::Kind::InApp); }
  void syncSubscribeData() { _store->syncList(OQCampaignStore::Kind::Subscribe); }
  void reportWindowEventWithName(const std::optional<std::string>& name, std::int64_t type, const OQWindowData& window);
  void reportPushEventWithType(std::uint64_t type, const JSONValue& msg);
  void _reportEvent(const std::shared_ptr<OQWindowEvent>& event);
  /// See OQReports::flush().
  std::size_t flush(double seconds) { return _reports->flush(seconds); }
  /// Main queue only.
  void jumpToWebViewWithURLStr(const JSONValue& url);

  /// Passes the newest log files, as many as a mail can contain, to OQUtils::sendEmailTo(), with their file names.
  /// Reads the files on the calling thread.
  void sendLogToEmail(const std::optional<std::string>& recipient, std::shared_ptr<UIViewController> controller);
  /// The same, presented from the current screen.
  void sendLogToEmail(const std::string& recipient) override;
  void changeEnvironment() override;
  void testMultipleThread() override;
  Value diagnostics() const override;
  /// The completion may be empty; see OQNetwork.
  void downloadImageWithURL(const std::optional<URL>& url, OQNetwork::ImageCompletion completion);

  Value recentDecisions() const override { return publicValue(_decisions.log().entries()); }
  void keepRecentDecisions(std::size_t most) override;

  // For hosts that use Messages.

  /// Whether the engine of the process was started. Neither this nor setUserWhenPossible() creates the engine, which
  /// reads files: before the start it is not known whether consent is required.
  static bool isStarted();
  /// Calls setUser() now or, before the start and while consent is missing, when that is over.
  static void setUserWhenPossible(const std::string& userId);
  /// The user has given consent: does what was due.
  void proceedWithConsent();
  /// Another user: removes messages from the screen, drops what belongs to the former user, and fetches both lists.
  void setUser(const std::string& userId);
  /// Records an event of the current user, with the current time.
  void record(const std::string& event, const JSONValue& properties);
  /// Fetches both lists now.
  void refresh();
  void dismiss();
  /// Cancels requests, removes messages from the screen, and drops events that wait.
  void withdraw();
  /// Removes everything that is stored about the user; with `keepDevice` not the identifiers of this installation.
  void forget(bool keepDevice);

  // The state. Lists and arrays are returned as they are at that moment.

  bool treeNodesInit() const { return _store->isActivatedCleared(); }
  void setTreeNodesInit(bool done) { _store->setActivatedCleared(done); }
  bool isNewUser() const { return _session.get(&Session::isNewUser); }
  void setIsNewUser(bool isNewUser) { _session.set(&Session::isNewUser, isNewUser); }
  bool autoCollectPageInfo() const { return _autoCollectPageInfo; }
  void setAutoCollectPageInfo(bool collect) { _autoCollectPageInfo = collect; }
  std::int64_t maxWaitingReceivedEventsNum() const { return _store->maxWaitingEvents(); }
  void setMaxWaitingReceivedEventsNum(std::int64_t most) { _store->setMaxWaitingEvents(most); }
  std::shared_ptr<TorvelinOqConfig> configuration() const { return _session.get(&Session::configuration); }
  void setConfiguration(std::shared_ptr<TorvelinOqConfig> configuration) {
    _session.set(&Session::configuration, std::move(configuration));
  }
  std::optional<std::string> token() const { return _session.get(&Session::token); }
  void setToken(std::optional<std::string> token) { _session.set(&Session::token, std::move(token)); }
  std::optional<std::string> userId() const { return _session.get(&Session::userId); }
  void setUserId(std::optional<std::string> userId) { _session.set(&Session::userId, std::move(userId)); }
  std::optional<std::string> appid() const { return _session.get(&Session::appid); }
  void setAppid(std::optional<std::string> appid) { _session.set(&Session::appid, std::move(appid)); }
  std::optional<std::string> pageName() const override { return _session.get(&Session::pageName); }
  void setPageName(std::optional<std::string> pageName) { _session.set(&Session::pageName, std::move(pageName)); }
  /// Created at the first call. It loads the pictures; every other request creates its own client.
  std::shared_ptr<OQNetwork> network();
  void setNetwork(std::shared_ptr<OQNetwork> network);
  std::shared_ptr<const Windows> inAppDataArray() const { return _windows(OQCampaignStore::Kind::InApp); }
  void setInAppDataArray(Windows windows) { _store->setList(OQCampaignStore::Kind::InApp, std::move(windows)); }
  std::shared_ptr<const Windows> subscribeDataArray() const { return _windows(OQCampaignStore::Kind::Subscribe); }
  void setSubscribeDataArray(Windows windows) { _store->setList(OQCampaignStore::Kind::Subscribe, std::move(windows)); }
  std::shared_ptr<OQRecordTree> recordTree() const { return _store->recordTree(); }
  void setRecordTree(std::shared_ptr<OQRecordTree> tree) { _store->setRecordTree(std::move(tree)); }
  Events waitingEvents() const { return _store->waitingEvents(OQCampaignStore::Kind::InApp); }
  void setWaitingEvents(Events events) { _store->setWaitingEvents(OQCampaignStore::Kind::InApp, std::move(events)); }
  Events waitingEvents1() const { return _store->waitingEvents(OQCampaignStore::Kind::Subscribe); }
  void setWaitingEvents1(Events events) {
    _store->setWaitingEvents(OQCampaignStore::Kind::Subscribe, std::move(events));
  }

 protected:
  /// Shows the window. Called on the main queue. Tests override it to see what would be shown.
  virtual void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action);

 private:
  using Session = OQSession::Values;

  static std::shared_ptr<OQSDKManager> _makeShared();
  std::shared_ptr<const Windows> _windows(OQCampaignStore::Kind kind) const;
  using Generation = OQCampaignStore::Generation;
  void _start(std::shared_ptr<TorvelinOqConfig> configuration, bool needsAnalytics);
  static void _noteStarted();
  void _takePendingUser();
  void _match(const JSONValue& info, Generation generation);
  void _matchInApp(const std::shared_ptr<OQWindowEvent>& event, Generation generation);
  void _matchSubscribe(const std::shared_ptr<OQWindowEvent>& event, Generation generation);
  void _installInAppList(const JSONArray& records, Generation generation);
  void _installSubscribeList(const JSONArray& records, Generation generation);
  /// `ifTester` is called if the answer declares the user a tester.
  void _fetchSubscriptions(std::function<void()> ifTester);
  void _fetchWindows();
  /// Unless this start has fetched the windows (`isFetched`), or today for a user who is not a tester.
  void _fetchWindowsOnce(const std::shared_ptr<bool>& isFetched, bool isTester);
  /// Called on any thread; continues on the main queue, immediately if the caller is already there.
  void _present(const std::shared_ptr<OQMessage>& message);
  void _presentOnMainQueue(const std::shared_ptr<OQMessage>& message);
  void _handleNotice(OQMessage& message, OQPopWindow::Notice notice);
  void _handleMessageAction(OQMessage& message, std::int64_t code, const JSONValue& link);
  void _openLink(const OQMessage& message, const JSONValue& link);
  /// Removes messages from the screen, and those that wait for it.
  void _removeMessages();
  /// The caller holds _userMutex.
  void _forgetUser();
  /// Removes the user if another process has forgotten the user.
  void _followForgetting();
  /// Stores the user and the token as they are now.
  void _storeSession();

  const std::shared_ptr<OQCampaignStore> _store = std::make_shared<OQCampaignStore>();
  const std::shared_ptr<OQMessageControl> _control;
  OQDisplayDecisions _decisions{_store, _control};
  OQSession _session;
  OQServerRequests _requests;
  const std::shared_ptr<OQReports> _reports = std::make_shared<OQReports>();
  std::atomic<bool> _autoCollectPageInfo{true};
  std::atomic<bool> _isTester{false};  ///< according to the last answer of this run
  /// Handles one login answer at a time, so that two answers do not both find that the list was not fetched today.
  OQSerialExecutor _dailyFetches;
  /// Held while the user or the token is replaced or stored; taken before all others. The log is not written under it,
  /// because this calls the host.
  std::mutex _userMutex;
  std::atomic<bool> _isLoggedIn{false};   ///< in this run
  std::atomic<unsigned> _forgettings{0};  ///< how often the user was forgotten
  std::mutex _networkMutex;
  std::shared_ptr<OQNetwork> _network;
};

}  // namespace oq
