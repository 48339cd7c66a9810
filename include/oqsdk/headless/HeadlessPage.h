// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

/// A web page of a headless host. There is no web engine: nothing is loaded and no script runs. The program that
/// controls the host sees what the library requests of the page, and simulates the engine's reports in the order of a
/// real load:
///
///     auto page = host.pages().back();
///     page->start(); page->progress(0.4); page->commit(); page->progress(1); page->finish("Title");
///
/// Main thread only. A page that the library has closed can still be read; the functions that simulate the engine,
/// scripts or the user then have no effect.
class OQSDK_EXPORT HeadlessPage {
 public:
  /// A script that the library would run in the page.
  struct Script {
    std::string source;    ///< JavaScript
    bool atDocumentStart;  ///< runs before the document is loaded; false: after
    bool mainFrameOnly;    ///< runs in the main frame alone; false: in every frame
  };

  /// False once the library has closed the page.
  bool isOpen() const;
  /// The addresses that the library requested, oldest first. A reload or a step back adds its address again.
  const std::vector<std::string>& loads() const;
  /// How often the library stopped the loading.
  int stops() const;
  /// The library's scripts, in the order in which they would run.
  const std::vector<Script>& scripts() const;
  /// The names under `window.webkit.messageHandlers`.
  const std::vector<std::string>& messageHandlers() const;
  /// How many dialogs of scripts are open.
  int openDialogs() const;

  /// The load that the library requested last begins.
  void start();
  /// The page itself, not the library, begins to load this address.
  void start(const std::string& url);
  /// How much is loaded, 0 to 1.
  void progress(double progress);
  /// The first bytes have arrived: the page shows the new document.
  void commit();
  /// The load has ended. "document.title" returns `title` from now on.
  void finish(const std::string& title);
  /// The load fails before the commit. `code` is an error code of the domain NSURLErrorDomain, for example -1009.
  void fail(int code, const std::string& description);
  /// The load fails after the commit.
  void failLater(int code, const std::string& description);
  /// The process that shows the page ends.
  void crash();
  /// The server has answered. Returns whether the library lets the page show the answer.
  bool respond(int statusCode, const std::string& mimeType);
  /// A script calls window.webkit.messageHandlers.HANDLER.postMessage() with this JSON.
  void post(const std::string& handler, const std::string& json);
  /// A script calls alert().
  void alert(const std::string& message);
  /// A script calls confirm().
  void confirm(const std::string& message);
  /// A script calls prompt().
  void prompt(const std::string& message, const std::string& defaultText);
  /// The user pulls the page down beyond its top.
  void pullDown();

 private:
  friend class PageEngine;
  class Impl;
  explicit HeadlessPage(std::shared_ptr<Impl> impl) : _impl(std::move(impl)) {}

  std::shared_ptr<Impl> _impl;
};

}  // namespace oq
