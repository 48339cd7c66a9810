// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Foundation/Values/Error.h"

/// What web views need from a host. This file contains only plain data and interfaces, so that an engine can be a
/// module that is loaded at run time and not linked with the library. Main thread only.
namespace oq {

class UIView;

struct WebScript {
  std::string source;
  bool atDocumentStart = true;  ///< otherwise at the document's end
  bool mainFrameOnly = true;
};

/// The settings with which a page is opened.
struct WebPageSettings {
  /// The names of the handlers that scripts find in `window.webkit.messageHandlers`.
  std::vector<std::string> messageHandlers;
  std::vector<WebScript> scripts;
  bool allowsBackForwardGestures = false;
  bool tellsPulls = false;  ///< whether the page must call WebPageClient::pagePulledDown()
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
  /// Ends the dialog. `confirmed` is whether the user accepted it; `text` is what the user entered in a prompt. The
  /// script waits until this is called or the page closes. After the page has closed, a call has no effect.
  std::function<void(bool confirmed, const std::optional<std::string>& text)> answer;
};

/// Receives a page's events. Any of these calls may destroy the page, so an engine must not use the page after such a
/// call.
class WebPageClient {
 public:
  /// A navigation has begun; no data has arrived yet.
  virtual void pageStarted() = 0;
  /// The new document has replaced the former one.
  virtual void pageCommitted() = 0;
  virtual void pageFinished() = 0;
  /// `committed` is true if the failure came after pageCommitted(). `url` is the address that failed.
  virtual void pageFailed(const Error& error, const std::string& url, bool committed) = 0;
  /// The estimated progress of the load, from 0 to 1.
  virtual void pageProgressed(double progress) = 0;
  /// The page's process has ended, for example by a crash; WebPage::reload() starts another.
  virtual void pageCrashed() = 0;
  /// Whether the response of a server may be shown.
  virtual bool pageMayShow(const WebResponse& response) = 0;
  /// A script called postMessage() of the handler; `json` is the argument of that call.
  virtual void pagePosted(const std::string& handler, const std::string& json) = 0;
  virtual void pageAsks(WebPanel panel) = 0;
  /// The user pulled the page down beyond its top.
  virtual void pagePulledDown() = 0;

 protected:
  ~WebPageClient() = default;
};

/// One open page, which belongs to one view. Destroying it ends everything that runs for it.
class WebPage {
 public:
  virtual ~WebPage() = default;
  /// Loads an address that objectionToLoading() accepts.
  virtual void load(const std::string& url) = 0;
  virtual void reload() = 0;
  virtual void stopLoading() = 0;
  /// The shown address; during a load, from pageStarted() on, the address that is being loaded; "" before the first
  /// load.
  virtual std::string url() const = 0;
  virtual bool canGoBack() const = 0;
  virtual void goBack() = 0;
  /// Runs the script. The completion is called once, later, with the result as JSON, or with nullopt if the script
  /// failed. It is not called if the page closes first.
  virtual void evaluate(const std::string& script,
                        std::function<void(const std::optional<std::string>& json)> completion) = 0;
  /// The view was added to a window or removed from it.
  virtual void viewMoved(UIView& view) = 0;
};

class WebEngine {
 public:
  virtual ~WebEngine() = default;
  /// Returns nullptr and sets `reason` if no page can be opened now. The client must outlive the page.
  virtual std::unique_ptr<WebPage> openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) = 0;
  /// Announces that a page will probably be opened in this process, so that an engine that takes long to start can
  /// begin now. The call must return immediately, and the start must not delay frames on the main thread.
  virtual void prepare() {}
  /// Removes cookies, caches and everything else that pages have stored, also in earlier runs. An engine that is in use
  /// may finish this after the call. Returns false if the engine does not use webDataDirectory() yet: then the caller
  /// removes that folder.
  virtual bool removeData() { return false; }
  /// Whether the engine is installed on this system. Called when the host is installed. An installed engine may still
  /// be unable to run.
  virtual bool isInstalled() const { return true; }
};

}  // namespace oq
