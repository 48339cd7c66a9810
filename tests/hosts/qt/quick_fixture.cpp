// SPDX-License-Identifier: Apache-2.0
#include <QtCore/QSocketNotifier>
#include <QtCore/QtPlugin>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>
#include <QtQuickWidgets/QQuickWidget>
#include <QtWidgets/QApplication>
#include <QtWidgets/QVBoxLayout>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "Engine/OQSDKManager.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/Messages.h"
#include "oqsdk/TorvelinOqManager.h"
#include "oqsdk/qt/QuickHost.h"

#ifdef OQSDK_STATIC_QML
Q_IMPORT_PLUGIN(OqsdkPlugin)
#endif

/// An application in QML: Quick.qml in a window of Qt Quick, or, as a "widget", in a QQuickWidget. It executes commands
/// from its standard input, one per line, and prints "did " and the line after each. quick_test.py controls it.

namespace {

/// What Quick.qml calls.
class Printer : public QObject {
  Q_OBJECT

 public:
  Q_INVOKABLE void say(const QString& line) { std::cout << line.toStdString() << std::endl; }
};

void say(const std::string& line) {
  std::cout << line << std::endl;
}

std::string word(std::istream& in) {
  std::string next;
  in >> next;
  return next;
}

class Fixture {
 public:
  explicit Fixture(QCoreApplication& application) : _application(application) {
    _commands = {
        {"pop", [this](auto& in) { pop(in); }},
        {"dismiss", [this](auto&) { _message.lock()->_close(); }},
        {"badly", [this](auto&) { attachBadly(); }},
        {"focus", [this](auto&) { reportFocus(); }},
        {"focus_field", [this](auto&) { item("field")->forceActiveFocus(); }},
        {"menu", [this](auto&) { QMetaObject::invokeMethod(root().findChild<QObject*>("menu"), "open"); }},
        {"hold", [this](auto& in) { item("layer")->setProperty("held", word(in) == "on"); }},
        {"start", [](auto& in) { start(word(in)); }},
        {"record", [](auto& in) { record(word(in)); }},
        {"collect", [this](auto&) { oq::qt::collectPages(item("stack")); }},
        {"cart", [this](auto&) { QMetaObject::invokeMethod(item("stack"), "openCart"); }},
        {"page", [](auto&) { say("page " + oq::TorvelinOqManager::engine().pageName().value_or("none")); }},
        {"layer", [this](auto&) { reportLayer(); }},
        {"lose", [this](auto&) { loseSceneGraph(); }},
        {"grab", [this](auto& in) { grab(in); }},
        {"resize", [this](auto& in) { resize(in); }},
        {"close", [this](auto&) { closeWindow(); }},
        {"settled", [](auto&) { say(oq::AnimationEngine::shared().isRunning() ? "settled 0" : "settled 1"); }},
        {"state",
         [](auto&) {
           say("state scenes " + std::to_string(oq::UIApplication::sharedApplication().connectedScenes().size()));
         }},
        {"quit", [](auto&) { QCoreApplication::quit(); }},
    };
  }

  void open(const std::string& kind, int width, int height) {
    const QUrl source = QUrl::fromLocalFile(QUICK_QML);
    if (kind == "widget") {
      _widget = std::make_unique<QWidget>();
      auto* column = new QVBoxLayout(_widget.get());
      column->setContentsMargins(0, 0, 0, 0);
      auto* quick = _quick = new QQuickWidget;
      quick->engine()->rootContext()->setContextProperty("fixture", &_printer);
      quick->setResizeMode(QQuickWidget::SizeRootObjectToView);
      quick->setSource(source);
      column->addWidget(quick);
      _widget->setGeometry(0, 0, width, height);
      _widget->show();
      _widget->activateWindow();
      quick->setFocus();
    } else {
      _view = new QQuickView;
      _view->engine()->rootContext()->setContextProperty("fixture", &_printer);
      _view->setResizeMode(QQuickView::SizeRootObjectToView);
      _view->setSource(source);
      _view->setGeometry(0, 0, width, height);
      _view->show();
      _view->requestActivate();
    }
    _input = std::make_unique<QSocketNotifier>(0, QSocketNotifier::Read);
    QObject::connect(_input.get(), &QSocketNotifier::activated, &_application, [this] { obey(); });
    say("mapped");
  }

 private:
  void obey() {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    std::istringstream in(line);
    if (const auto command = _commands.find(word(in)); command != _commands.end()) command->second(in);
    say("did " + line);
  }

  QObject& root() const { return _view ? *_view->rootObject() : *_quick->rootObject(); }
  QQuickItem* item(const char* name) const { return root().findChild<QQuickItem*>(name); }
  QQuickWindow* window() const { return _view ? _view : _quick->quickWindow(); }

  void pop(std::istream& in) {
    int style = 3;
    in >> style;
    auto data = std::make_shared<oq::OQWindowData>();
    data->setModelWithDic({{"style", style},
                           {"title", {{"text", "春季大促"}}},
                           {"content", {{"text", "全场八折"}}},
                           {"buttonLeft", {{"text", "取消"}}},
                           {"buttonRight", {{"text", "确定"}}}});
    auto message = oq::makeMainObject<oq::OQPopWindow>();
    message->popWithData(data, [](std::int64_t code, const auto&) { say("code " + std::to_string(code)); });
    _message = message;
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

  void attachBadly() {
    QQuickWindow* none = nullptr;
    say(oq::qt::attach(none) ? "null attached" : "null refused");
    std::thread([this] { say(oq::qt::attach(window()) ? "thread attached" : "thread refused"); }).join();
    say(oq::qt::attach(window()) ? "again attached" : "again refused");
    QQuickItem* nothing = nullptr;
    say(oq::qt::collectPages(nothing) || oq::qt::collectPages(item("field")) ? "pages taken" : "pages refused");
  }

  void reportFocus() const {
    const QQuickItem* focused = window()->activeFocusItem();
    say("focus " + (focused ? focused->objectName().toStdString() : "nothing"));
  }

  void reportLayer() const {
    const auto* layer = window()->contentItem()->findChild<QQuickItem*>("oqsdk-layer");
    say(std::string("layer ") + (!layer ? "none" : layer->isVisible() ? "visible" : "hidden"));
  }

  /// Destroys the scene graph with all textures, as the system may do with a hidden window.
  void loseSceneGraph() {
    QObject::connect(
        _view, &QQuickWindow::sceneGraphInvalidated, _view, [] { say("scene graph lost"); }, Qt::DirectConnection);
    _view->setPersistentSceneGraph(false);
    _view->setPersistentGraphics(false);
    _view->hide();
    _view->releaseResources();
    _view->show();
  }

  /// Reports the colour of a point, for a display whose pixels the test cannot read.
  void grab(std::istream& in) const {
    QPoint point;
    in >> point.rx() >> point.ry();
    const QImage image = window()->grabWindow();
    say("grab " + image.pixelColor(point * window()->effectiveDevicePixelRatio()).name().toStdString());
  }

  void resize(std::istream& in) {
    int width = 0, height = 0;
    in >> width >> height;
    _view ? _view->resize(width, height) : _widget->resize(width, height);
  }

  void closeWindow() {
    delete _view;
    _view = nullptr;
    _widget.reset();
    say("gone");
  }

  QCoreApplication& _application;
  Printer _printer;
  std::map<std::string, std::function<void(std::istream&)>> _commands;
  std::unique_ptr<QSocketNotifier> _input;
  std::weak_ptr<oq::OQPopWindow> _message;
  QQuickView* _view = nullptr;
  std::unique_ptr<QWidget> _widget;
  QQuickWidget* _quick = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  const std::string kind = argc > 3 ? argv[3] : "window";
  std::unique_ptr<QGuiApplication> application;
  if (kind == "widget") {
    application = std::make_unique<QApplication>(argc, argv);
  } else {
    application = std::make_unique<QGuiApplication>(argc, argv);
  }
  QCoreApplication::setApplicationName("com.example.QuickFixture");
  QGuiApplication::setQuitOnLastWindowClosed(false);
  Fixture fixture(*application);
  fixture.open(kind, std::atoi(argv[1]), std::atoi(argv[2]));
  const int status = QGuiApplication::exec();
  say("left");
  return status;
}

#include "quick_fixture.moc"
