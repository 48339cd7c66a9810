// SPDX-License-Identifier: Apache-2.0
#include "WebPages.h"

#include <filesystem>
#include <utility>

#include "Dispatch/BackgroundTask.h"
#include "Dispatch/DispatchQueue.h"
#include "Foundation/Files/FileManager.h"
#include "Host.h"
#include "NativeChildren.h"
#include "Surface.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIWindow.h"
#include "WebKit/WebEngineRegistry.h"

namespace oq::gtk {

namespace {

/// Shows the module's widget at the position of the page's view.
class HostedPage : public WebPage {
 public:
  explicit HostedPage(std::unique_ptr<WidgetPage> page) : _page(std::move(page)) {}
  ~HostedPage() override { takeAway(); }

  void load(const std::string& url) override { _page->load(url); }
  void reload() override { _page->reload(); }
  void stopLoading() override { _page->stopLoading(); }
  std::string url() const override { return _page->url(); }
  bool canGoBack() const override { return _page->canGoBack(); }
  void goBack() override { _page->goBack(); }
  void evaluate(const std::string& script,
                std::function<void(const std::optional<std::string>& json)> completion) override {
    _page->evaluate(script, std::move(completion));
  }
  void viewMoved(UIView& view) override {
    UIWindow* window = view.window();
    Surface* surface = window ? Host::shared()->surfaceOf(*window) : nullptr;
    const auto children = surface ? surface->nativeChildren() : nullptr;
    if (children == _children.lock()) return;
    takeAway();
    if (!children) return;
    _view = &view;
    _children = children;
    children->add(view, _page->widget(), [page = _page.get()](double scale) { page->setZoom(scale); });
  }

 private:
  void takeAway() {
    if (const auto children = _children.lock()) children->remove(*_view);
    _children.reset();
  }

  UIView* _view = nullptr;  ///< valid only while _children is set
  std::weak_ptr<NativeChildren> _children;
  const std::unique_ptr<WidgetPage> _page;
};

std::string webFolder() {
  const auto folder = webDataDirectory();
  createDirectory(folder);
  return folder.string();
}

std::string displayName() {
  GdkDisplay* display = gdk_display_get_default();
  return display ? gdk_display_get_name(display) : "";
}

bool preloads = true;

}  // namespace

/// Loads the module on a background thread, which does not refer to the WebPages object.
struct WebPages::Preload {
  struct Result {
    std::optional<WebModule> module;
    std::string reason;
  };
  const std::shared_ptr<Result> result = std::make_shared<Result>();
  BackgroundTask task;

  explicit Preload(Block loaded)
      : task([result = result, sandbox = sandboxTrial(displayName()), loaded = std::move(loaded)] {
          try {
            result->module = loadWebModule(sandbox, result->reason);
          } catch (const std::exception&) {  // the first page tries again
          }
          DispatchQueue::main().async(loaded);
        }) {}
};

WebPages::WebPages() = default;

WebPages::~WebPages() {
  if (_idle) g_source_remove(_idle);
}

void WebPages::setPreloads(bool does) {
  preloads = does;
}

void WebPages::prepare() {
  if (!preloads || _module || _preload || !isInstalled()) return;
  _preload = std::make_unique<Preload>([weak = std::weak_ptr<WebPages*>(_self)] {
    const auto self = weak.lock();
    // Each step runs in its own iteration of the main loop, so that frames can be painted between the steps.
    if (self) (*self)->whenIdle(&WebPages::prepareEngine);
  });
  whenIdle(&WebPages::startPreload);
}

void WebPages::whenIdle(void (WebPages::*step)()) {
  struct Call {
    WebPages* pages;
    void (WebPages::*step)();
  };
  auto run = +[](gpointer data) -> gboolean {
    const Call call = *static_cast<Call*>(data);
    call.pages->_idle = 0;
    (call.pages->*call.step)();
    return G_SOURCE_REMOVE;
  };
  auto drop = +[](gpointer data) { delete static_cast<Call*>(data); };
  if (_idle) g_source_remove(_idle);
  _idle = g_idle_add_full(G_PRIORITY_LOW, run, new Call{this, step}, drop);
}

void WebPages::startPreload() {
  if (_preload && !_module) _preload->task.start();
}

void WebPages::prepareEngine() {
  if (takePreloaded() && _module->prepare(webFolder().c_str())) whenIdle(&WebPages::prepareEngine);
}

bool WebPages::takePreloaded() {
  if (!_preload) return false;
  _preload->task.finish();
  if (!_module) _module = _preload->result->module;
  // The next prepare() tries again, because the reason of a failure may no longer exist then.
  if (!_module) _preload.reset();
  setCanShowWebPages(_module.has_value());
  return _module.has_value();
}

/// After a failure the next call tries again, because the reason may no longer exist.
bool WebPages::loadModule(std::string& reason) {
  if (_module || takePreloaded()) return true;
  _module = loadWebModule(sandboxTrial(displayName()), reason);
  setCanShowWebPages(_module.has_value());
  return _module.has_value();
}

std::unique_ptr<WebPage> WebPages::openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) {
  std::string problem;
  if (!loadModule(problem)) {
    reason = {URLErrorDomain, URLErrorUnknown, "no web pages here: " + problem};
    return nullptr;
  }
  return std::make_unique<HostedPage>(
      std::unique_ptr<WidgetPage>(_module->open(webFolder().c_str(), settings, client)));
}

}  // namespace oq::gtk
