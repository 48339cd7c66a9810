// SPDX-License-Identifier: Apache-2.0
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>
#include <boost/json/serialize.hpp>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>

#include "Engine/OQSDKManager.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebController.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "UIKit/Windows/MainObject.h"
#include "oqsdk/Messages.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/qt/QtHost.h"

/// An application in Qt Widgets above which web pages are opened. It takes the same commands, and reports the open page
/// in the same way, as the fixture of the GTK host's pages; web_pages_test.py controls it.

namespace {

void say(const std::string& line) {
  std::cout << line << std::endl;
}

std::string word(std::istream& in) {
  std::string next;
  in >> next;
  return next;
}

std::string rest(std::istream& in) {
  std::string text;
  std::getline(in >> std::ws, text);
  return text;
}

class Fixture {
 public:
  Fixture(QApplication& application, const std::string& dataFolder) {
    _commands = {
        {"jump", [](auto& in) { oq::OQSDKManager::sharedManager().jumpToWebViewWithURLStr(oq::JSONValue(rest(in))); }},
        {"inject", [this](auto& in) { inject(in); }},
        {"window", [this](auto& in) { popWindow(in); }},
        {"message", [this](auto&) { popTwoButtons(); }},
        {"close", [this](auto&) { shown()->close(); }},
        {"reload", [this](auto&) { shown()->wkWebViewReload(); }},
        {"script", [this](auto& in) { evaluate(in); }},
        {"forget", [](auto&) { oq::Messages::forget(); }},
        {"focus", [this](auto&) { reportFocus(); }},
        {"start", [](auto& in) { start(word(in)); }},
        {"record", [](auto& in) { record(word(in)); }},
        {"resize", [this](auto& in) { resize(in); }},
        {"destroy", [this](auto&) { _window.reset(); }},
        {"quit", [](auto&) { QCoreApplication::quit(); }},
    };
    auto* column = new QVBoxLayout(_window.get());
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(_entry = new QLineEdit);
    auto* button = new QPushButton("host");
    button->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    column->addWidget(button);
    QObject::connect(_entry, &QLineEdit::textChanged, [](const QString& text) { say("entry " + text.toStdString()); });
    QObject::connect(button, &QPushButton::clicked, [] { say("host clicked"); });
    oq::qt::AttachOptions options;
    options.applicationIdentifier = "com.example.web";
    options.dataDirectory = dataFolder;
    oq::qt::attach(_window.get(), options);
    _window->setGeometry(0, 0, 375, 700);
    _window->show();
    _window->activateWindow();
    _entry->setFocus();
    QObject::connect(&_input, &QSocketNotifier::activated, &application, [this] { obey(); });
    QObject::connect(&_report, &QTimer::timeout, &application, [this] { reportPage(); });
    _report.start(10);
  }

 private:
  void obey() {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    std::istringstream in(line);
    if (const auto command = _commands.find(word(in)); command != _commands.end()) command->second(in);
    say("did " + line);
  }

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

  static void inject(std::istream& in) {
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
    auto data = std::make_shared<oq::OQWindowData>();
    data->setModelWithDic({{"style", 3},
                           {"title", {{"text", "Message"}}},
                           {"buttonLeft", {{"text", "left"}}},
                           {"buttonRight", {{"text", "right"}}}});
    auto message = oq::makeMainObject<oq::OQPopWindow>();
    message->popWithData(data, [](std::int64_t code, const auto&) { say("code " + std::to_string(code)); });
  }

  void reportCard() {
    const auto frame = _popWindow->webController()->view()->frame();
    const auto close = _popWindow->closeBtn()->frame();
    std::ostringstream text;
    text << "card " << frame.minX() << " " << frame.minY() << " " << frame.size.width << " " << frame.size.height << " "
         << close.center().x << " " << close.center().y;
    say(text.str());
  }

  void reportFocus() const {
    const QWidget* focus = _window->focusWidget();
    if (!focus) return say("focus nowhere");
    say(focus == _entry ? "focus host" : focus->objectName() == "oqsdk-layer" ? "focus layer" : "focus page");
  }

  void resize(std::istream& in) {
    int width = 0, height = 0;
    in >> width >> height;
    _window->resize(width, height);
  }

  void reportPage() {
    if (!_isMapped) {
      _isMapped = _window->windowHandle()->isExposed() && oq::OQNavigation::currentNavigation();
      return _isMapped ? say("mapped") : void();
    }
    const auto controller = _window ? shown() : nullptr;
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
                           {"back", web->canGoBack()},
                           {"moving", controller->view()->layer().isAnimating()},
                           {"refreshing", controller->refreshControl()->isRefreshing()},
                       });
    }
    if (line != _reported) say(_reported = line);
  }

  std::map<std::string, std::function<void(std::istream&)>> _commands;
  std::unique_ptr<QWidget> _window = std::make_unique<QWidget>();
  QSocketNotifier _input{0, QSocketNotifier::Read};
  QTimer _report;
  QLineEdit* _entry = nullptr;
  std::string _reported = "page none";
  std::weak_ptr<oq::OQWebController> _last;
  bool _isMapped = false;
  int _number = 0;  ///< counts the opened pages
  std::shared_ptr<oq::OQPopWindow> _popWindow;
};

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("FIXTURE_WITHOUT_SHARING")) QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
  QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  Fixture fixture(application, argv[1]);
  const int status = QApplication::exec();
  say("left");
  return status;
}
