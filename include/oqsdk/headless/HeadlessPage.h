// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

/// A web page of a headless host. There is no engine: nothing is fetched and no script runs. Whoever drives the host
/// sees what the library asks of the page and plays the engine's part, in the order of a real load:
///
///     auto page = host.pages().back();
///     page->start(); page->progress(0.4); page->commit(); page->progress(1); page->finish("Title");
///
/// Main thread only. A page that the library has let go stays readable; telling it something then does nothing.
class OQSDK_EXPORT HeadlessPage {
 public:
  class Impl;
  /// Made by the host.
  explicit HeadlessPage(std::shared_ptr<Impl> impl) : _impl(std::move(impl)) {}

  /// False once the library has let go of it.
  bool isOpen() const;
  /// The addresses that were asked for, oldest first; a reload and a step back ask for theirs again.
  const std::vector<std::string>& loads() const;
  /// How often loading was stopped.
  int stops() const;
  /// Scripts of the library's that would run in the page: at the document's start and in all frames, unless the text
  /// says otherwise before a colon ("end:", "main:", "end main:").
  const std::vector<std::string>& scripts() const;
  /// Names under `window.webkit.messageHandlers`.
  const std::vector<std::string>& messageHandlers() const;
  /// Dialogs that scripts wait for.
  int openDialogs() const;

  /// The load that was asked for last begins.
  void start();
  void start(const std::string& url);  ///< A load of the page's own begins.
  void progress(double progress);      ///< How much is loaded, 0 to 1.
  void commit();                       ///< The first bytes are there, and the page is what they make of it.
  /// What "document.title" answers from now on.
  void finish(const std::string& title);
  /// Before the commit; `code` is one of URLErrorCode's, -1009 for instance.
  void fail(int code, const std::string& description);
  /// After the commit.
  void failLater(int code, const std::string& description);
  void crash();  ///< The process that shows the page ends.
  /// A server answered; whether the library lets it be shown.
  bool respond(int statusCode, const std::string& mimeType);
  /// A script calls window.webkit.messageHandlers.HANDLER.postMessage() with this JSON.
  void post(const std::string& handler, const std::string& json);
  void alert(const std::string& message);                                   ///< A script calls alert().
  void confirm(const std::string& message);                                 ///< A script calls confirm().
  void prompt(const std::string& message, const std::string& defaultText);  ///< A script calls prompt().
  /// The user pulls the page down beyond its top.
  void pullDown();

 private:
  std::shared_ptr<Impl> _impl;
};

}  // namespace oq
