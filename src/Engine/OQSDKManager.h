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

/// The engine behind the public facade and the analytics hook. It passes events to OQDisplayDecisions, shows windows,
/// and sends reports. State and work are in six classes: OQSession (the user), OQCampaignStore (lists, records, waiting
/// events, files), OQDisplayDecisions (which window an event shows), OQMessageControl (what the host decides),
/// OQServerRequests and OQReports.
///
/// Threads: a method may be called from any thread unless it says otherwise. Analytics events are matched on the thread
/// that records them; answers of the server are handled on the HTTP client's queue; windows are presented, and their
/// actions handled, on the main queue. No lock is held while the host is called; OQCampaignStore describes the order of
/// the locks. Ownership: a shared_ptr must own the engine. Pending requests hold it weakly, a window on screen holds it
/// strongly. Failure: errors are logged. Only reports (OQReports) and writes of the records (OQCampaignStore) are
/// retried.
class OQSDKManager : public OQObserverListener, public std::enable_shared_from_this<OQSDKManager> {
  OQ_CLASS(OQSDKManager)

 public:
  using Windows = OQCampaignStore::Windows;
  using Events = OQCampaignStore::Events;
  /// Called when something happened to a window on screen. `code` is an OQWindowAction; `link` is the link of the
  /// clicked part, or null.
  using WindowAction = std::function<void(std::int64_t code, const JSONValue& link)>;

  /// The engine of the process, created at the first call. It is never destroyed, because threads may still call it
  /// while the process exits.
  static OQSDKManager& sharedManager();

  /// The campaigns and records of earlier runs are read when they are first needed. Hosts must not use this
  /// constructor: only tests create a second engine in one process. A shared_ptr must own the engine.
  explicit OQSDKManager(std::shared_ptr<OQMessageControl> control = std::make_shared<OQMessageControl>())
      : _control(std::move(control)) {}

  /// The first call in the process installs the hooks. Every call sets the configuration and logs in.
  void startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration);
  /// The same, but the analytics class is hooked only if the host has registered it. If no application id is known, the
  /// application key is used as the id.
  void startWithoutAnalytics(std::shared_ptr<TorvelinOqConfig> configuration);
  /// Hooks the analytics class, so that its events reach the shared engine. Logs a warning if the host has not
  /// registered this class.
  void exchangeMethod();
  /// Stores the environment through the shared engine's configuration. Does nothing without a configuration.
  static void setEnvironment(std::uint64_t environment);
  /// The stored environment, read at each call; 0 if there is none.
  static std::uint64_t getEnvironment();
  bool autoCollectPage() const { return _autoCollectPageInfo; }
  void setAutoCollectPage(bool collect) { _autoCollectPageInfo = collect; }

  void login();
  /// Fetches the subscriptions, and the windows if they were not fetched today. For a tester (see docs/server.md), the
  /// windows are fetched at every call. Does nothing if the token or the user id is missing.
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

  /// Whether the window may be shown now. If so, its display is already counted, and the records are written.
  /// MessageHandlers::mayShow is not called.
  bool readyToShowWithData(const OQWindowData& window) { return _decisions.decide(window) == OQDecision::Shown; }
  void _showWindowWithData(const std::shared_ptr<OQWindowData>& window);
  /// Counts one display in this record and writes all records.
  void syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Allows windows that the user has not closed to be shown again. Reading the records at the start does the same, so
  /// this has an effect only after setTreeNodesInit(false).
  void clearTreeNodeActivateState() { _store->clearActivated(); }
  /// Writes the records as they are in memory. This overwrites what other processes of the application have written
  /// since this process last read the file.
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
  /// The same on the main queue, with the view controller that is on screen.
  void sendLogToEmail(const std::string& recipient) override;
  void changeEnvironment() override;
  void testMultipleThread() override;
  Value diagnostics() const override;
  /// See OQNetwork::downloadImageWithURL(). The completion may be empty.
  void downloadImageWithURL(const std::optional<URL>& url, OQNetwork::ImageCompletion completion);

  Value recentDecisions() const override { return publicValue(_decisions.log().entries()); }
  void keepRecentDecisions(std::size_t most) override;

  // For hosts that use Messages.

  /// Whether the engine of the process was started. Neither this function nor setUserWhenPossible() creates the engine:
  /// creating it reads files, and before the start it is not known yet whether consent is required.
  static bool isStarted();
  /// Calls setUser(). Before the start or while consent is missing, only keeps the user id in memory; setUser() is
  /// called as soon as the engine is started and consent is not missing.
  static void setUserWhenPossible(const std::string& userId);
  /// To be called when the user has given consent: calls setUser() if setUserWhenPossible() has kept a user id, and
  /// logs in.
  void proceedWithConsent();
  /// Sets the user; has no effect if it is the same user. If another user was set, removes that user's messages from
  /// the screen and drops the lists and waiting events, but keeps the records. Then calls refresh() if the engine was
  /// started.
  void setUser(const std::string& userId);
  /// Records an event of the current user, with the current time.
  void record(const std::string& event, const JSONValue& properties);
  /// Fetches both lists now. Does nothing before the login of this run was answered, or if the token or the user id is
  /// missing.
  void refresh();
  void dismiss();
  /// To be called when the user has withdrawn consent: cancels requests, drops waiting events and reports that were not
  /// sent, and removes messages from the screen.
  void withdraw();
  /// Removes everything that is stored about the user and the device. `keepDevice` keeps the identifiers of this
  /// installation.
  void forget(bool keepDevice);

  // The state. Lists and arrays are returned as snapshots, which later changes do not affect.

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
  /// The client that loads the pictures, created at the first call. Every other request creates its own client.
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
  /// Calls `ifTester`, which may be empty, if the answer declares the user a tester.
  void _fetchSubscriptions(std::function<void()> ifTester);
  void _fetchWindows();
  /// Fetches the windows, unless the same call of getListData() has already done so (`isFetched`). For a user who is
  /// not a tester, also does nothing if the windows were already fetched today.
  void _fetchWindowsOnce(const std::shared_ptr<bool>& isFetched, bool isTester);
  /// Called on any thread; shows the message on the main queue, immediately if the caller is already there.
  void _present(const std::shared_ptr<OQMessage>& message);
  void _presentOnMainQueue(const std::shared_ptr<OQMessage>& message);
  void _handleNotice(OQMessage& message, OQPopWindow::Notice notice);
  void _handleMessageAction(OQMessage& message, std::int64_t code, const JSONValue& link);
  void _openLink(const OQMessage& message, const JSONValue& link);
  /// Removes the messages that are on screen or wait to be shown, and closes the web pages of the library.
  void _removeMessages();
  /// The caller holds _userMutex.
  void _forgetUser();
  /// If another process of the application has forgotten the user, removes the user and the messages from this process,
  /// too.
  void _followForgetting();
  /// Stores the current user id and token for later runs.
  void _storeSession();

  const std::shared_ptr<OQCampaignStore> _store = std::make_shared<OQCampaignStore>();
  const std::shared_ptr<OQMessageControl> _control;
  OQDisplayDecisions _decisions{_store, _control};
  OQSession _session;
  OQServerRequests _requests;
  const std::shared_ptr<OQReports> _reports = std::make_shared<OQReports>();
  std::atomic<bool> _autoCollectPageInfo{true};
  std::atomic<bool> _isTester{false};  ///< according to the last subscription list of this run
  /// Runs one check of _fetchWindowsOnce() at a time, so that two login answers cannot both find that today's windows
  /// are not fetched yet.
  OQSerialExecutor _dailyFetches;
  /// Held while setUser(), forget() or a login answer replaces the user or the token, and while they are stored. Taken
  /// before all other locks. Nothing is logged while it is held, because logging calls the host's log handler.
  std::mutex _userMutex;
  std::atomic<bool> _isLoggedIn{false};   ///< a login of this run was answered
  std::atomic<unsigned> _forgettings{0};  ///< how often the user was forgotten
  std::mutex _networkMutex;
  std::shared_ptr<OQNetwork> _network;
};

}  // namespace oq
