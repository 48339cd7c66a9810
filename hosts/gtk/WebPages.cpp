#include "WebPages.h"

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "Foundation/FileManager.h"
#include "Host.h"
#include "NativeChildren.h"
#include "Surface.h"
#include "UIKit/UIView.h"
#include "UIKit/UIWindow.h"

namespace oq::gtk {

namespace {

namespace fs = std::filesystem;
constexpr const char* moduleFile = "liboqsdk-webkit.so";

/// Shows the module's widget wherever its view is.
class HostedPage : public WebPage {
 public:
  HostedPage(Host& host, std::unique_ptr<WidgetPage> page) : _host(host), _page(std::move(page)) {}
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
    Surface* surface = window ? _host.surfaceOf(*window) : nullptr;
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

  Host& _host;
  UIView* _view = nullptr;  ///< valid while there are _children
  std::weak_ptr<NativeChildren> _children;
  const std::unique_ptr<WidgetPage> _page;
};

/// The engine ends the process when its sandbox cannot be built. Asked of the tool that builds it.
bool canSandbox() {
  // The engine's own switch, with which it does not try to. Not for applications.
  const char* disabled = std::getenv("WEBKIT_DISABLE_SANDBOX_THIS_IS_DANGEROUS");
  if (disabled && std::string(disabled) == "1") return true;
  const char* command[] = {"bwrap", "--ro-bind", "/", "/", "--unshare-pid", "true", nullptr};
  const auto flags =
      static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
  int status = 0;
  return g_spawn_sync(nullptr, const_cast<char**>(command), nullptr, flags, nullptr, nullptr, nullptr,
                      nullptr, &status, nullptr) &&
         g_spawn_check_wait_status(status, nullptr);
}

/// The folder of the library, or of the program that it is part of; "" where that cannot be told.
fs::path ownFolder() {
  Dl_info ours{};
  const bool isKnown = dladdr(reinterpret_cast<void*>(&canSandbox), &ours) != 0 && ours.dli_fname;
  fs::path file = isKnown ? ours.dli_fname : "";
  // A program goes by the name that it was called with, which does not tell where it is.
  if (!file.is_absolute()) file = "/proc/self/exe";
  std::error_code error;
  file = fs::canonical(file, error);
  return error ? fs::path() : file.parent_path();
}

/// Beside the library, in the folder for modules there, where it was built, and where it is installed; never
/// relative to where the host happens to be.
std::vector<fs::path> modulePlaces() {
  std::vector<fs::path> places;
  if (const fs::path folder = ownFolder(); !folder.empty()) places = {folder, folder / "oqsdk"};
#ifdef OQSDK_BUILT_MODULE_DIR
  places.emplace_back(OQSDK_BUILT_MODULE_DIR);
#endif
  places.emplace_back(OQSDK_INSTALLED_MODULE_DIR);
  return places;
}

fs::path findModule() {
  std::error_code error;
  for (const fs::path& place : modulePlaces()) {
    if (fs::is_regular_file(place / moduleFile, error)) return place / moduleFile;
  }
  return {};
}

template <class Function>
Function function(void* module, const char* name) {
  return reinterpret_cast<Function>(dlsym(module, name));
}

}  // namespace

bool WebPages::loadModule(std::string& reason) {
  // The engine brings libsoup 3, which ends the process when it meets libsoup 2.
  if (dlsym(RTLD_DEFAULT, "soup_uri_new")) {
    reason = "libsoup 2 is in this process already";
    return false;
  }
  if (!canSandbox()) {
    reason = "there are no user namespaces for the web engine's sandbox";
    return false;
  }
  const fs::path file = findModule();
  void* module = file.empty() ? nullptr : dlopen(file.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (!module) {
    const char* problem = file.empty() ? nullptr : dlerror();
    reason = problem ? problem : std::string(moduleFile) + " is not installed";
    return false;
  }
  const auto version = function<WebModuleVersion>(module, "oqsdk_web_module_version");
  const auto open = function<OpenWebPage>(module, "oqsdk_open_web_page");
  if (!version || !open || std::string(version()) != OQSDK_WEB_MODULE_VERSION) {
    dlclose(module);
    reason = file.string() + " belongs to another version";
    return false;
  }
  _open = open;
  return true;
}

std::unique_ptr<WebPage> WebPages::openPage(const WebPageSettings& settings, WebPageClient& client,
                                            Error& reason) {
  std::string problem;
  if (!_open && !loadModule(problem)) {
    reason = {URLErrorDomain, URLErrorUnknown, "no web pages here: " + problem};
    return nullptr;
  }
  const fs::path folder = applicationDataDirectory() / "Web";
  createDirectory(folder);
  return std::make_unique<HostedPage>(_host,
                                      std::unique_ptr<WidgetPage>(_open(folder.c_str(), settings, client)));
}

}  // namespace oq::gtk
