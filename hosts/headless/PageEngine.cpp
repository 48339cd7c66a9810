// SPDX-License-Identifier: Apache-2.0
#include "headless/PageEngine.h"

#include <utility>

#include "Dispatch/DispatchQueue.h"
#include "WebKit/WebEngineRegistry.h"
#include "oqsdk/Value.h"

namespace oq {

namespace {

using State = PageEngine::State;

class ScriptedPage : public WebPage {
 public:
  explicit ScriptedPage(std::shared_ptr<State> state) : _state(std::move(state)) {}
  ~ScriptedPage() override { _state->client = nullptr; }

  void load(const std::string& url) override { _state->ask(url); }
  void reload() override {
    if (_state->history.empty()) return;
    _state->isReloading = true;
    _state->ask(_state->history.back());
  }
  void stopLoading() override { ++_state->stops; }
  std::string url() const override { return _state->url; }
  bool canGoBack() const override { return _state->history.size() > 1; }
  void goBack() override {
    if (!canGoBack()) return;
    _state->isGoingBack = true;
    _state->ask(_state->history[_state->history.size() - 2]);
  }
  void evaluate(const std::string& script, std::function<void(const std::optional<std::string>&)> completion) override {
    const auto result = script == "document.title" ? std::optional(Value(_state->title).json()) : std::nullopt;
    DispatchQueue::main().async([state = std::weak_ptr(_state), result, completion = std::move(completion)] {
      const auto page = state.lock();
      if (page && page->client) completion(result);
    });
  }
  void viewMoved(UIView&) override {}

 private:
  const std::shared_ptr<State> _state;
};

}  // namespace

std::unique_ptr<WebPage> PageEngine::openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) {
  if (!_refusal.empty()) {
    reason = {URLErrorDomain, URLErrorUnknown, _refusal};
    return nullptr;
  }
  auto state = std::make_shared<State>();
  state->settings = settings;
  state->client = &client;
  for (const WebScript& script : settings.scripts) {
    state->scripts.push_back({script.source, script.atDocumentStart, script.mainFrameOnly});
  }
  std::erase_if(_pages, [](const auto& page) { return !page->isOpen(); });
  // Not make_shared(), which cannot call the private constructor.
  _pages.push_back(std::shared_ptr<HeadlessPage>(new HeadlessPage(state)));
  return std::make_unique<ScriptedPage>(std::move(state));
}

void PageEngine::refuse(std::string reason) {
  _refusal = std::move(reason);
  setCanShowWebPages(_refusal.empty());
}

std::vector<std::shared_ptr<HeadlessPage>> PageEngine::pages() const {
  std::vector<std::shared_ptr<HeadlessPage>> open;
  for (const auto& page : _pages) {
    if (page->isOpen()) open.push_back(page);
  }
  return open;
}

void HeadlessPage::Impl::ask(const std::string& address) {
  url = address;
  loads.push_back(address);
}

void HeadlessPage::Impl::commit() {
  if (std::exchange(isGoingBack, false)) {
    history.pop_back();
  } else if (!std::exchange(isReloading, false) || history.empty()) {
    history.push_back(url);
  }
}

void HeadlessPage::Impl::askDialog(WebPanel::Kind kind, const std::string& message, const std::string& defaultText,
                                   const std::shared_ptr<Impl>& self) {
  if (!client) return;
  ++openDialogs;
  const auto answer = [state = std::weak_ptr(self)](bool, const std::optional<std::string>&) {
    if (const auto page = state.lock()) --page->openDialogs;
  };
  client->pageAsks({kind, message, defaultText, answer});
}

bool HeadlessPage::isOpen() const {
  return _impl->client;
}

const std::vector<std::string>& HeadlessPage::loads() const {
  return _impl->loads;
}

int HeadlessPage::stops() const {
  return _impl->stops;
}

const std::vector<HeadlessPage::Script>& HeadlessPage::scripts() const {
  return _impl->scripts;
}

const std::vector<std::string>& HeadlessPage::messageHandlers() const {
  return _impl->settings.messageHandlers;
}

int HeadlessPage::openDialogs() const {
  return _impl->openDialogs;
}

// The client may close the page in each call, and release the last owner of this object. So each function below keeps
// the state alive until it returns.

void HeadlessPage::start() {
  const auto page = _impl;
  if (page->client) page->client->pageStarted();
}

void HeadlessPage::start(const std::string& url) {
  _impl->url = url;
  start();
}

void HeadlessPage::progress(double progress) {
  const auto page = _impl;
  if (page->client) page->client->pageProgressed(progress);
}

void HeadlessPage::commit() {
  const auto page = _impl;
  page->commit();
  if (page->client) page->client->pageCommitted();
}

void HeadlessPage::finish(const std::string& title) {
  const auto page = _impl;
  page->title = title;
  if (page->client) page->client->pageFinished();
}

void HeadlessPage::fail(int code, const std::string& description) {
  const auto page = _impl;
  page->isGoingBack = page->isReloading = false;
  if (page->client) page->client->pageFailed({URLErrorDomain, code, description}, page->url, false);
}

void HeadlessPage::failLater(int code, const std::string& description) {
  const auto page = _impl;
  if (page->client) page->client->pageFailed({URLErrorDomain, code, description}, page->url, true);
}

void HeadlessPage::crash() {
  const auto page = _impl;
  if (page->client) page->client->pageCrashed();
}

bool HeadlessPage::respond(int statusCode, const std::string& mimeType) {
  const auto page = _impl;
  return page->client && page->client->pageMayShow({page->url, mimeType, statusCode, true});
}

void HeadlessPage::post(const std::string& handler, const std::string& json) {
  const auto page = _impl;
  if (page->client) page->client->pagePosted(handler, json);
}

void HeadlessPage::alert(const std::string& message) {
  _impl->askDialog(WebPanel::Kind::Alert, message, "", _impl);
}

void HeadlessPage::confirm(const std::string& message) {
  _impl->askDialog(WebPanel::Kind::Confirm, message, "", _impl);
}

void HeadlessPage::prompt(const std::string& message, const std::string& defaultText) {
  _impl->askDialog(WebPanel::Kind::Prompt, message, defaultText, _impl);
}

void HeadlessPage::pullDown() {
  const auto page = _impl;
  if (page->client) page->client->pagePulledDown();
}

}  // namespace oq
