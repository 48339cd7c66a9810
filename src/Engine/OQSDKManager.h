#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Engine/OQDecisionLog.h"
#include "Foundation/Values/JSONValue.h"
#include "Foundation/Values/Snapshot.h"
#include "Matching/OQCampaignList.h"
#include "Requests/OQNetwork.h"
#include "Storage/OQRecordStore.h"
#include "Utils/OQSerialExecutor.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/Runtime.h"
#include "oqsdk/TorvelinOqConfig.h"

namespace oq {

class OQRecordTree;
class OQRecordTreeNode;
class OQWindowData;
class OQWindowEvent;
class UINavigationController;
class UIViewController;

/// The engine: the session with the server, the two campaign lists, the records of what was shown, the events
/// that wait for a list, and the decision to show a window.
///
/// Threads: every method may be called from any thread. Analytics events are matched on the thread that
/// brings them; answers are handled on the HTTP client's queue; windows are presented, and their actions
/// handled, on the main queue. No lock is held while anything outside the engine is called; log entries are
/// only handed over. Ownership: the engine lives in a shared_ptr. Answers hold it weakly, a window on screen
/// holds it strongly. Failure: what goes wrong is in the log; nothing is retried.
class OQSDKManager : public OQObserverListener, public std::enable_shared_from_this<OQSDKManager> {
  OQ_CLASS(OQSDKManager)

 public:
  using Windows = OQCampaignList::Windows;
  using Events = std::vector<std::shared_ptr<OQWindowEvent>>;
  /// What happened to a window on screen: 1 shown, 2 picture, 3 closed, 4 left, 5 right, 6 middle button; and
  /// the link.
  using WindowAction = std::function<void(std::int64_t code, const JSONValue& link)>;

  /// The engine of the process, made at the first call. It is never destroyed: threads may still report to it
  /// while the process ends.
  static OQSDKManager& sharedManager();

  /// The campaigns and records of earlier runs are read when they are first needed. Not meant for hosts: a second
  /// engine beside the shared one is for tests, and must be owned by a shared_ptr.
  OQSDKManager();
  ~OQSDKManager() override;

  /// Installs the hooks (once per process), keeps the configuration and logs in (at every call).
  void startWithConfiguration(std::shared_ptr<TorvelinOqConfig> configuration);
  /// Lets the analytics library's events reach the shared engine. Without that library nothing is installed.
  void exchangeMethod();
  /// Through the shared engine's configuration; before there is one, nothing is stored.
  static void setEnvironment(std::uint64_t environment);
  /// The stored environment, read afresh; 0 when there is none.
  static std::uint64_t getEnvironment();
  bool autoCollectPage() const { return _autoCollectPageInfo; }
  void setAutoCollectPage(bool collect) { _autoCollectPageInfo = collect; }

  void login();
  /// Fetches the subscriptions, and once per calendar day the windows; nothing without a token and a user id.
  void getListData();
  void getInAppList();
  void getSubscribeList();

  /// What the analytics library uploads; ignored unless it is a dictionary.
  void onEventDataReceived(const JSONValue& info);
  void triggerEventMatch(const std::shared_ptr<OQWindowEvent>& event);
  void triggerEventMatchInApp(const std::shared_ptr<OQWindowEvent>& event);
  void triggerEventMatchSubscribe(const std::shared_ptr<OQWindowEvent>& event);
  /// Tells the server of an event that it subscribed to.
  void triggerEvent(const std::shared_ptr<OQWindowEvent>& event);
  void autoPageCollected(const std::string& name);
  void pushTrack(std::uint64_t type, const JSONValue& msg);

  /// Whether the window may be shown now. When it may, the display is already counted and written.
  bool readyToShowWithData(const OQWindowData& window);
  void _showWindowWithData(const std::shared_ptr<OQWindowData>& window);
  /// The same, as the decision on an event.
  void _showWindowWithData(const std::shared_ptr<OQWindowData>& window, const OQWindowEvent* event);
  /// Counts one display of the node and writes the records.
  void syncWithTreeNode(const std::shared_ptr<OQRecordTreeNode>& node);
  /// Once per engine: windows that the user has not closed may be shown again.
  void clearTreeNodeActivateState();
  /// Writes the records as they are in memory, whatever other processes of the application wrote.
  void syncRecordTree();
  void syncInAppData();
  void syncSubscribeData();
  void reportWindowEventWithName(const std::optional<std::string>& name, std::int64_t type, const OQWindowData& window);
  void reportPushEventWithType(std::uint64_t type, const JSONValue& msg);
  void _reportEvent(const std::shared_ptr<OQWindowEvent>& event);
  /// Main queue only.
  void jumpToWebViewWithURLStr(const JSONValue& url);

  /// Hands the log files (the newest, as many as a mail carries) to OQUtils::sendEmailTo(), with the names that
  /// they have in the log's folder. Reads them on the calling thread.
  void sendLogToEmail(const std::optional<std::string>& recipient, std::shared_ptr<UIViewController> controller);
  /// From the current screen.
  void sendLogToEmail(const std::string& recipient) override;
  void changeEnvironment() override;
  void testMultipleThread() override;
  Value diagnostics() const override;
  /// The completion may be empty; see OQNetwork.
  void downloadImageWithURL(const std::optional<URL>& url, OQNetwork::ImageCompletion completion);

  Value recentDecisions() const override { return publicValue(_decisions.entries()); }
  void keepRecentDecisions(std::size_t most) override;

  // The state. Lists and arrays are handed out as they are at that moment. "xwho", "appid" and "token" that
  // are not strings are kept in their text form.

  bool treeNodesInit() const { return _stored().treeNodesInit; }
  void setTreeNodesInit(bool done) { _stored().treeNodesInit = done; }
  /// True when a user id was already stored when the engine was made. The name says the opposite; both this
  /// and the inversion in the list requests are meant.
  bool isNewUser() const { return _isNewUser; }
  void setIsNewUser(bool isNewUser) { _isNewUser = isNewUser; }
  bool autoCollectPageInfo() const { return _autoCollectPageInfo; }
  void setAutoCollectPageInfo(bool collect) { _autoCollectPageInfo = collect; }
  std::int64_t maxWaitingReceivedEventsNum() const { return _maxWaitingReceivedEventsNum; }
  void setMaxWaitingReceivedEventsNum(std::int64_t most) { _maxWaitingReceivedEventsNum = most; }
  std::shared_ptr<TorvelinOqConfig> configuration() const;
  void setConfiguration(std::shared_ptr<TorvelinOqConfig> configuration);
  std::optional<std::string> token() const;
  void setToken(std::optional<std::string> token);
  std::optional<std::string> userId() const;
  void setUserId(std::optional<std::string> userId);
  std::optional<std::string> appid() const;
  void setAppid(std::optional<std::string> appid);
  std::optional<std::string> pageName() const override;
  void setPageName(std::optional<std::string> pageName);
  /// Made at the first call and kept. Pictures go through it; every other request has a client of its own.
  std::shared_ptr<OQNetwork> network();
  void setNetwork(std::shared_ptr<OQNetwork> network);
  std::shared_ptr<const Windows> inAppDataArray() const;
  void setInAppDataArray(Windows windows);
  std::shared_ptr<const Windows> subscribeDataArray() const;
  void setSubscribeDataArray(Windows windows);
  std::shared_ptr<OQRecordTree> recordTree() const;
  void setRecordTree(std::shared_ptr<OQRecordTree> tree);
  Events waitingEvents() const;
  void setWaitingEvents(Events events);
  Events waitingEvents1() const;
  void setWaitingEvents1(Events events);

 protected:
  /// Puts the window on screen; runs on the main queue. A test takes its place to see what would be shown.
  virtual void presentWindow(const std::shared_ptr<OQWindowData>& window, WindowAction action);

 private:
  /// Everything that travels with each request, read in one step.
  struct Session {
    std::shared_ptr<TorvelinOqConfig> configuration;
    std::optional<std::string> token;
    std::optional<std::string> userId;
    std::optional<std::string> appid;
    std::optional<std::string> pageName;
    std::shared_ptr<OQNetwork> network;
  };
  using AnswerHandler = std::function<void(OQSDKManager& engine, std::optional<JSONValue> answer)>;

  Session _session() const;
  template <class Field>
  Field _field(Field Session::*field) const;
  template <class Field>
  void _setField(Field Session::*field, Field value);
  /// nullopt for null, else the value's text form.
  static std::optional<std::string> _textOrNil(const JSONValue& value);

  /// Posts the body with a client of its own. The handler gets the parsed answer of status 200, or nullopt
  /// for what is not JSON; it is not called for anything else, nor once the engine is gone.
  void _post(const std::string& path, const JSONValue& body, AnswerHandler handler);
  /// The same for a list; the answers of all lists are handled one after the other.
  void _postForList(const std::string& path, void (OQSDKManager::*handle)(const std::optional<JSONValue>& answer));
  /// Whether the answer is a dictionary with code 0; another code is logged.
  static bool _isSuccess(const std::optional<JSONValue>& answer);
  JSONValue _listRequestBody() const;
  JSONValue _eventRequestBody(const OQWindowEvent& event) const;

  void _handleLoginAnswer(const std::optional<JSONValue>& answer);
  void _handleInAppAnswer(const std::optional<JSONValue>& answer);
  void _handleSubscribeAnswer(const std::optional<JSONValue>& answer);
  /// Puts the list in force and on disk and returns the events that waited for it.
  Events _installInAppList(const JSONArray& records);
  Events _installSubscribeList(const JSONArray& records);

  void _keepUserId(const JSONValue& xwho);
  struct Turn {
    /// The list if it has windows. Otherwise nullptr: the event waits, or is dropped.
    std::shared_ptr<const OQCampaignList> list;
    bool isDropped = false;
  };
  Turn _listOrWait(const Snapshot<OQCampaignList>& list, Events& waiting, const std::shared_ptr<OQWindowEvent>& event);
  void _notePassedOver(const OQWindowEvent& event, const OQCampaignList& list, const OQCampaignMatch& match);

  /// Shown, when the display is counted and written; else why it is not.
  OQDecision _decide(const OQWindowData& window);
  /// Why a window with this record, or with none, is not shown; nullopt when the rule has no objection.
  using RecordRule = std::optional<OQDecision> (*)(const OQRecordTreeNode* node);
  std::optional<OQDecision> _askRecord(const OQWindowData& window, RecordRule rule) const;
  OQDecision _countIfStillAllowed(const OQWindowData& window);
  /// With _displayMutex held.
  static void _count(OQRecordTreeNode& node);
  /// Exclusive use of the records among the processes of the application, with what others changed in memory; none
  /// while the records are busy.
  OQRecordStore::Access _shareRecords();
  void _writeRecords(OQRecordStore::Access access);
  /// Writes what was changed in memory; while the records are busy, tries again in the background.
  void _writeRecordsOrTryLater(OQRecordStore::Access access);
  void _handleWindowAction(const std::shared_ptr<OQWindowData>& window, std::int64_t code, const JSONValue& link);
  void _markClosed(const OQWindowData& window);
  /// An event of this moment, in the name of the user.
  std::shared_ptr<OQWindowEvent> _eventNamed(const std::string& name, JSONDictionary context) const;
  void _openWebController(UINavigationController& navigation, const std::string& url);

  std::atomic<bool> _isNewUser{false};
  std::atomic<bool> _autoCollectPageInfo{true};
  std::atomic<std::int64_t> _maxWaitingReceivedEventsNum{3};

  /// Guards the fields of the session.
  mutable std::mutex _sessionMutex;
  Session _fields;

  /// One login answer at a time decides whether today's list was fetched.
  OQSerialExecutor _dailyFetches;
  /// One answer at a time is put in force and on disk, with the events that waited for it, so that two never
  /// mix.
  OQSerialExecutor _listAnswers;

  /// One step under it: the decision to show a window with the counting of it; the installation of a list
  /// with its merged records; the choice whether an event waits, and the taking of those that wait.
  mutable std::mutex _displayMutex;
  Events _waitingEvents;
  Events _waitingEvents1;

  OQDecisionLog _decisions;

  /// What earlier runs left, and what has taken its place since. To be had from _stored(), which reads it first or
  /// waits for the thread that does, and is called before any other lock is taken.
  struct Stored {
    Snapshot<OQCampaignList> inApp, subscribe;
    std::shared_ptr<OQRecordTree> recordTree;
    std::atomic<bool> treeNodesInit{false};
  };
  Stored& _stored() const;
  void _restore() const;
  static std::shared_ptr<OQSDKManager> _startReading();
  /// Has the web engine prepared if the list needs it. Any thread.
  static void _preparePages(const OQCampaignList& list);
  /// Except where the user has closed the window.
  static void _clearActivated(const OQRecordTree& tree);
  mutable std::mutex _restoreMutex;
  mutable std::atomic<bool> _isRestored{false};
  mutable Stored _storedFields;

  /// The file of records. Access to it is taken before _displayMutex, and what is written is read inside it, so a later
  /// write never holds older counts.
  mutable OQRecordStore _records;
  std::atomic<bool> _isWriteDue{false};

  /// Held while one of the files of lists is written, and nothing but the file system is asked. What is written is read
  /// inside it.
  std::mutex _fileMutex;
};

}  // namespace oq
