// SPDX-License-Identifier: Apache-2.0
#include <gtkmm.h>

#include <boost/json/serialize.hpp>
#include <cstdlib>
#include <memory>
#include <sstream>

#include "CommandFixture.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebController.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "WebKit/WebEngineRegistry.h"
#include "oqsdk/Messages.h"
#include "oqsdk/OQObserverListener.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/gtk/GtkHost.h"

/// A host with one entry and one button, above which web pages are opened. It reports the state of the open page after
/// each change; web_test.py controls it.

namespace {

class Fixture : public CommandFixture {
 public:
  explicit Fixture(std::string dataFolder) : _dataFolder(std::move(dataFolder)) {
    takeCommands({
        {"prepare", [](auto&) { oq::prepareWebEngine(); }},
        {"forget", [](auto&) { oq::Messages::forget(); }},
        {"close", [this](auto&) { shown()->close(); }},
        {"reload", [this](auto&) { shown()->wkWebViewReload(); }},
        {"script", [this](auto& in) { evaluate(in); }},
        {"inject", [this](auto& in) { inject(in); }},
        {"window", [this](auto& in) { popWindow(in); }},
        {"message", [](auto&) { popTwoButtons(); }},
        {"cover", [this](auto&) { cover(); }},
        {"uncover", [this](auto&) { _cover->removeFromSuperview(); }},
        {"focus", [this](auto&) { reportFocus(); }},
        {"idle", [](auto&) { Glib::signal_idle().connect_once([] { say("idle"); }, G_PRIORITY_LOW + 100); }},
        {"grab", [this](auto&) { _entry->grab_focus(); }},
        {"start", [](auto& in) { start(word(in)); }},
        {"record", [](auto& in) { record(word(in)); }},
    });
  }

  void open() override {
    _window = new Gtk::Window;
    _window->set_decorated(false);
    _window->set_default_size(375, 700);
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    auto* entry = _entry = Gtk::make_managed<Gtk::Entry>();
    entry->signal_changed().connect([entry] { say("entry " + entry->get_text()); });
    auto& button = makeButton("host");
    button.set_vexpand();
    box->append(*entry);
    box->append(button);
    _window->set_child(*box);
    oq::gtk::AttachOptions options;
    options.applicationIdentifier = "com.example.web";
    options.dataDirectory = _dataFolder;
    options.preloadWebEngine = !std::getenv("FIXTURE_WITHOUT_PRELOADING");
    oq::gtk::attach(*_window, options);
    _window->signal_map().connect([] { say("mapped"); });
    _window->present();
    entry->grab_focus();
    Glib::signal_timeout().connect([this] { return reportPage(), true; }, 10);
  }

 private:
  static void start(const std::string& server) {
    oq::Messages::setUser("user-1");
    oq::Messages::start({"my-application", server});
  }

  /// Records an event and prints what its newest decision was.
  static void record(const std::string& event) {
    oq::Messages::record(event);
    const oq::Value decisions = oq::TorvelinOqManager::engine().recentDecisions();
    const auto count = decisions.size();
    say("outcome " + std::string(count ? decisions.at(count - 1).at("outcome").toString() : ""));
  }

  std::shared_ptr<oq::OQWebController> shown() {
    if (_popWindow) return _popWindow->webController();
    return std::dynamic_pointer_cast<oq::OQWebController>(oq::OQNavigation::currentViewController());
  }

  void inject(std::istream& in) {
    auto page = oq::makeMainObject<oq::OQWebController>();
    page->setUrlString(word(in));
    page->setJsString(rest(in));
    page->setCanDownRefresh(true);
    oq::OQNavigation::currentNavigation()->pushViewController(page, false);
  }

  void evaluate(std::istream& in) {
    const auto page = shown();
    if (!page) return say("result none");
    page->wkWebView()->evaluateJavaScript(
        rest(in), [](const oq::JSONValue& result, const std::optional<oq::Error>& error) {
          say("result " + (error ? error->localizedDescription : boost::json::serialize(result)));
        });
  }

  void popWindow(std::istream& in) {
    auto data = std::make_shared<oq::OQWindowData>();
    data->setModelWithDic({{"style", 4}});
    _popWindow = oq::makeMainObject<oq::OQPopWindow>();
    _popWindow->webController()->setUrlString(rest(in));
    _popWindow->popWithData(data, [this](std::int64_t code, const oq::JSONValue&) {
      say("code " + std::to_string(code));
      if (code == 1) reportCard();
      if (code == 3) _popWindow.reset();
    });
  }

  static void popTwoButtons() {
    popMessage({{"style", 3},
                {"title", {{"text", "Message"}}},
                {"buttonLeft", {{"text", "left"}}},
                {"buttonRight", {{"text", "right"}}}});
  }

  void reportCard() {
    const auto frame = _popWindow->webController()->view()->frame();
    const auto close = _popWindow->closeBtn()->frame();
    std::ostringstream text;
    text << "card " << frame.minX() << " " << frame.minY() << " " << frame.size.width << " " << frame.size.height << " "
         << close.center().x << " " << close.center().y;
    say(text.str());
  }

  void reportFocus() {
    auto* focus = _window->get_focus();
    if (!focus) return say("focus nowhere");
    if (focus->is_ancestor(*_entry)) return say("focus host");
    const auto element = oq::UIApplication::sharedApplication().keyWindow()->focusedView();
    say("focus " + (element ? element->accessibilityLabel() : G_OBJECT_TYPE_NAME(focus->gobj())));
  }

  /// Adds a view above the open page.
  void cover() {
    _cover = oq::makeMainObject<oq::UIView>(oq::CGRectMake(100, 300, 200, 100));
    _cover->setBackgroundColor(oq::UIColor::redColor());
    oq::UIApplication::sharedApplication().keyWindow()->addSubview(_cover);
  }

  void reportPage() {
    const auto controller = shown();
    std::string line = "page none";
    if (controller) {
      if (_last.lock() != controller) ++_number;
      _last = controller;
      const auto web = controller->wkWebView();
      const auto url = web->URL();
      const auto title = controller->navigationItem()->title();
      line = "page " + boost::json::serialize(oq::JSONValue{
                           {"number", _number},
                           {"url", url ? url->absoluteString() : ""},
                           {"title", title ? oq::JSONValue(*title) : oq::JSONValue()},
                           {"hidden", web->isHidden()},
                           {"reload", !controller->reloadBtn()->isHidden()},
                           {"bar", !controller->progress()->isHidden()},
                           {"progress", controller->progress()->progress()},
                           {"back", web->canGoBack()},
                           {"moving", controller->view()->layer().isAnimating()},
                           {"refreshing", controller->refreshControl()->isRefreshing()},
                       });
    }
    if (line != _reported) say(_reported = line);
  }

  Gtk::Entry* _entry = nullptr;
  const std::string _dataFolder;
  std::string _reported = "page none";
  std::weak_ptr<oq::OQWebController> _last;
  int _number = 0;  ///< counts the opened pages
  std::shared_ptr<oq::OQPopWindow> _popWindow;
  std::shared_ptr<oq::UIView> _cover;
};

}  // namespace

int main(int, char** argv) {
  return runFixture("com.example.web", std::make_unique<Fixture>(argv[1]));
}
