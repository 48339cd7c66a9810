#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Error.h"

/// What a host gives to web views. Texts and interfaces alone, so that an engine can live in a module that is
/// linked with nothing of the library. Main thread only.
namespace oq {

class UIView;

struct WebScript {
  std::string source;
  bool atDocumentStart = true;  ///< else at the document's end
  bool mainFrameOnly = true;
};

/// What a page is opened with.
struct WebPageSettings {
  /// Names under `window.webkit.messageHandlers`.
  std::vector<std::string> messageHandlers;
  std::vector<WebScript> scripts;
  bool allowsBackForwardGestures = false;
  bool tellsPulls = false;  ///< WebPageClient::pagePulledDown() is wanted
};

struct WebResponse {
  std::string url;
  std::string mimeType;
  int statusCode = 0;
  bool isForMainFrame = true;
};

/// A dialog that a script of the page waits for.
struct WebPanel {
  enum class Kind { Alert, Confirm, Prompt };
  Kind kind = Kind::Alert;
  std::string message;
  std::string defaultText;
  /// Ends the dialog: whether it was confirmed, and for a prompt the text. A dialog that is never answered
  /// keeps its script waiting until the page goes. Does nothing once the page is gone.
  std::function<void(bool confirmed, const std::optional<std::string>& text)> answer;
};

/// Whom a page tells what happens to it. Any of these calls may destroy the page: an engine looks at nothing
/// of the page after one of them.
class WebPageClient {
 public:
  /// A navigation has begun, of which nothing has come yet.
  virtual void pageStarted() = 0;
  /// The new document has taken the place of the former.
  virtual void pageCommitted() = 0;
  virtual void pageFinished() = 0;
  /// `committed`: the document was already there. `url` is the address that failed.
  virtual void pageFailed(const Error& error, const std::string& url, bool committed) = 0;
  /// From 0 to 1.
  virtual void pageProgressed(double progress) = 0;
  /// What ran the page is gone, by a crash for instance; WebPage::reload() starts another.
  virtual void pageCrashed() = 0;
  /// Whether what a server answered is to be shown.
  virtual bool pageMayShow(const WebResponse& response) = 0;
  /// A script called postMessage() of a handler; the body as JSON.
  virtual void pagePosted(const std::string& handler, const std::string& json) = 0;
  virtual void pageAsks(WebPanel panel) = 0;
  /// The user pulled the page down beyond its top.
  virtual void pagePulledDown() = 0;

 protected:
  ~WebPageClient() = default;
};

/// One page that is open, behind one view. Destroying it ends whatever runs for it.
class WebPage {
 public:
  virtual ~WebPage() = default;
  /// An address to which objectionToLoading() has none.
  virtual void load(const std::string& url) = 0;
  virtual void reload() = 0;
  virtual void stopLoading() = 0;
  /// Of what is shown or, from pageStarted() on, of what is on its way; "" before anything was loaded.
  virtual std::string url() const = 0;
  virtual bool canGoBack() const = 0;
  virtual void goBack() = 0;
  /// The result as JSON, or nullopt where the script failed. Called once, later, unless the page goes first.
  virtual void evaluate(const std::string& script,
                        std::function<void(const std::optional<std::string>& json)> completion) = 0;
  /// The view has come into a window or has left it.
  virtual void viewMoved(UIView& view) = 0;
};

class WebEngine {
 public:
  virtual ~WebEngine() = default;
  /// nullptr, with the reason, where no page can be opened now. The client outlives the page.
  virtual std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) = 0;
  /// A page will probably be opened in this process. An engine that is slow to load may begin to load now; it returns
  /// at once and keeps the main thread free for frames.
  virtual void prepare() {}
};

}  // namespace oq
