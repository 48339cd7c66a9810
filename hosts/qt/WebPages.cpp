// SPDX-License-Identifier: Apache-2.0
#include "WebPages.h"

#include <dlfcn.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QLibraryInfo>
#include <QtGui/QOpenGLContext>
#include <QtWidgets/QApplication>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <utility>
#include <vector>

#include "Foundation/Files/FileManager.h"
#include "Host.h"
#include "Host/ModuleFinder.h"
#include "Surface.h"
#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/UIApplication.h"
#include "WebKit/WebEngineRegistry.h"
#include "WebViews.h"

namespace oq::qt {

namespace {

namespace fs = std::filesystem;
constexpr const char* kModuleFile = "oqsdk-qt6-web.so";

fs::path moduleFile() {
  std::vector<fs::path> more;
#ifdef OQSDK_BUILT_QT_MODULE_DIR
  more.emplace_back(OQSDK_BUILT_QT_MODULE_DIR);
#endif
  more.emplace_back(OQSDK_INSTALLED_MODULE_DIR);
  return findModule(kModuleFile, reinterpret_cast<const void*>(&moduleFile), more);
}

/// Whether the engine's own environment variables disable its sandbox. Applications should not set these.
bool isSandboxDisabled() {
  const char* disabled = std::getenv("QTWEBENGINE_DISABLE_SANDBOX");
  const char* flags = std::getenv("QTWEBENGINE_CHROMIUM_FLAGS");
  return (disabled && std::string(disabled) == "1") ||
         (flags && std::string(flags).find("--no-sandbox") != std::string::npos);
}

/// Whether a process can create the namespaces of the engine's sandbox. The child process calls nothing that needs a
/// lock, because other threads may have held one when it was forked.
bool canCreateNamespaces() {
  const pid_t child = ::fork();
  if (child < 0) return false;
  if (child == 0) ::_exit(::unshare(CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET) == 0 ? 0 : 1);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Why the engine's sandbox cannot work; the engine would then end the application's process.
std::optional<std::string> objectionToSandbox() {
  if (isSandboxDisabled()) return std::nullopt;
  if (::geteuid() == 0) return "the web engine's sandbox does not run as root";
  if (!canCreateNamespaces()) return "the web engine's sandbox cannot be built: no user namespaces";
  return std::nullopt;
}

/// The engine ends the application's process if it does not find its program.
bool hasEngineProgram() {
  if (const char* named = std::getenv("QTWEBENGINEPROCESS_PATH")) return ::access(named, X_OK) == 0;
  const QString folder = QLibraryInfo::path(QLibraryInfo::LibraryExecutablesPath);
  return ::access((folder.toStdString() + "/QtWebEngineProcess").c_str(), X_OK) == 0;
}

template <class Function>
Function function(void* module, const char* name) {
  return reinterpret_cast<Function>(dlsym(module, name));
}

std::string webFolder() {
  const auto folder = webDataDirectory();
  createDirectory(folder);
  return folder.string();
}

/// Shows the module's widget at the position of the page's view.
class HostedPage : public WebPage {
 public:
  HostedPage(OpenWebPage open, const WebPageSettings& settings, WebPageClient& client)
      : _page(open(webFolder().c_str(), settings, client, [this] {
          if (const auto views = _views.lock()) views->update();
        })) {}
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
    const UIHost* host = UIApplication::sharedApplication().host();
    UIWindow* window = view.window();
    HostSurface* surface = window && host ? static_cast<const SurfaceHost*>(host)->surfaceOf(*window) : nullptr;
    const auto views = surface ? static_cast<Surface&>(surface->client()).layer().webViews() : nullptr;
    if (views == _views.lock()) return;
    takeAway();
    if (!views || !_page->widget()) return;
    _view = &view;
    _views = views;
    views->add(
        view, *_page->widget(), [this](double scale) { _page->setZoom(scale); },
        [this] { return _page->hasContent(); });
  }

 private:
  void takeAway() {
    if (const auto views = _views.lock()) views->remove(*_view);
    _views.reset();
  }

  UIView* _view = nullptr;  ///< valid only while _views is set
  std::weak_ptr<WebViews> _views;
  const std::unique_ptr<WidgetPage> _page;
};

}  // namespace

/// The conditions under which the engine runs, and does not end the process. First those that are most often violated.
std::optional<std::string> WebPages::objection() const {
  if (_isForbidden || !qobject_cast<QApplication*>(QCoreApplication::instance()))
    return "web pages are shown only in windows of Qt Widgets";
  if (!QCoreApplication::testAttribute(Qt::AA_ShareOpenGLContexts))
    return "the application has not set Qt::AA_ShareOpenGLContexts before its QApplication";
  if (!QOpenGLContext::globalShareContext()) return "the display has no OpenGL";
  if (moduleFile().empty()) return std::string(kModuleFile) + " is not installed";
  if (!hasEngineProgram()) return "QtWebEngineProcess is not installed";
  return objectionToSandbox();
}

bool WebPages::isInstalled() const {
  return !objection();
}

void WebPages::forbid() {
  _isForbidden = true;
  setCanShowWebPages(false);
}

/// After a failure the next call tries again, because the reason may no longer exist.
bool WebPages::load(std::string& reason) {
  if (const auto problem = objection()) {
    reason = *problem;
    return false;
  }
  if (_module) return true;
  const fs::path file = moduleFile();
  void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module) {
    const char* problem = dlerror();
    reason = problem ? problem : file.string() + " cannot be loaded";
    return false;
  }
  const auto version = function<WebModuleVersion>(module, "oqsdk_web_module_version");
  const auto open = function<OpenWebPage>(module, "oqsdk_open_web_page");
  const auto removeData = function<RemoveWebData>(module, "oqsdk_remove_web_data");
  if (!version || !open || !removeData || std::string(version()) != OQSDK_WEB_MODULE_VERSION) {
    // The module stays loaded, because unloading the engine's libraries would end the process.
    reason = file.string() + " belongs to another version";
    return false;
  }
  _module = Module{open, removeData};
  return true;
}

std::unique_ptr<WebPage> WebPages::openPage(const WebPageSettings& settings, WebPageClient& client, Error& reason) {
  std::string problem;
  const bool isLoaded = load(problem);
  setCanShowWebPages(isLoaded);
  if (!isLoaded) {
    reason = {URLErrorDomain, URLErrorUnknown, "no web pages here: " + problem};
    return nullptr;
  }
  return std::make_unique<HostedPage>(_module->open, settings, client);
}

}  // namespace oq::qt
