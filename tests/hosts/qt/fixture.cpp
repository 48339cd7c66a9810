// SPDX-License-Identifier: Apache-2.0
#include <QtTest/qtesttouch.h>
#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QMimeData>
#include <QtCore/QSocketNotifier>
#include <QtCore/QThread>
#include <QtGui/QDropEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtGui/QShortcut>
#include <QtGui/QWindow>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QVBoxLayout>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "Dispatch/DispatchQueue.h"
#include "Engine/OQSDKManager.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Views/Animation.h"
#include "UIKit/Windows/MainObject.h"
#include "UIKit/Windows/UIApplication.h"
#include "UIKit/Windows/UIWindow.h"
#include "oqsdk/qt/QtHost.h"

/// An application in Qt Widgets with a text field at the top and a button that fills the rest of its window. It
/// executes commands from its standard input, one per line, and prints "did " and the line after each. widgets_test.py
/// controls it.

namespace {

void say(const std::string& line) {
  std::cout << line << std::endl;
}

std::string word(std::istream& in) {
  std::string next;
  in >> next;
  return next;
}

/// Prints the events that reach the application's button.
class HostButton : public QPushButton {
 public:
  explicit HostButton(const QString& name, QWidget* parent = nullptr) : QPushButton(name, parent) {
    setObjectName(name);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAttribute(Qt::WA_AcceptTouchEvents, false);
    setAcceptDrops(true);
    connect(this, &QPushButton::clicked, this, [this] { say(objectName().toStdString() + " clicked"); });
  }

 protected:
  bool event(QEvent* event) override {
    const std::string name = objectName().toStdString();
    if (event->type() == QEvent::Wheel) say(name + " scrolled");
    if (event->type() == QEvent::ContextMenu) say(name + " context menu");
    if (event->type() == QEvent::HoverEnter) say(name + " entered");
    if (event->type() == QEvent::HoverLeave) say(name + " left");
    if (event->type() == QEvent::DragEnter || event->type() == QEvent::Drop) event->accept();
    if (event->type() == QEvent::Drop) return say(name + " dropped"), true;
    return QPushButton::event(event);
  }
};

class Window : public QWidget {
 protected:
  void keyPressEvent(QKeyEvent* event) override {
    if (!event->text().isEmpty()) say("window key " + event->text().toStdString());
  }
  void keyReleaseEvent(QKeyEvent* event) override {
    if (event->key() == Qt::Key_Return) say("window key released");
  }
};

class Fixture {
 public:
  Fixture(QApplication& application, const std::string& kind) : _application(application), _kind(kind) {
    _commands = {
        {"pop", [this](auto& in) { pop(in); }},
        {"dismiss", [this](auto&) { _message.lock()->_close(); }},
        {"attach_badly", [](auto&) { attachBadly(); }},
        {"attach_again", [this](auto&) { say(oq::qt::attach(_button) ? "attached" : "refused"); }},
        {"focus", [](auto&) { reportFocus(); }},
        {"cursor", [this](auto&) { say("cursor " + std::to_string(_window->windowHandle()->cursor().shape())); }},
        {"selected", [this](auto&) { say("selected " + _field->selectedText().toStdString()); }},
        {"focus_window", [this](auto&) { _window->setFocus(); }},
        {"focus_field", [this](auto&) { _field->setFocus(); }},
        {"inputs", [this](auto&) { reportInputMethod(); }},
        {"menu", [this](auto&) { openMenu(); }},
        {"reject", [this](auto&) { _dialog->reject(); }},
        {"exec", [this](auto& in) { openDialog(word(in) == "attached"); }},
        {"above", [this](auto&) { addAbove(); }},
        {"raise", [this](auto&) { _button->raise(); }},
        {"nest", [this](auto&) { openDialogFromBlock(); }},
        {"native", [this](auto&) { addNative(); }},
        {"tap", [this](auto& in) { tap(in); }},
        {"drop", [this](auto& in) { drop(in); }},
        {"resize", [this](auto& in) { resize(in); }},
        {"move", [this](auto& in) { move(in); }},
        {"full", [this](auto&) { _window->showFullScreen(); }},
        {"hide", [this](auto&) { _window->hide(); }},
        {"show", [this](auto&) { _window->show(); }},
        {"close", [this](auto&) { delete _window, _window = nullptr; }},
        {"second", [this](auto&) { addWindow(); }},
        {"state", [](auto&) { reportState(); }},
        {"settled", [](auto&) { say(oq::AnimationEngine::shared().isRunning() ? "settled 0" : "settled 1"); }},
        {"grab", [this](auto& in) { grab(in); }},
        {"select", [this](auto&) { _field->selectAll(); }},
        {"card", [this](auto&) { reportCard(); }},
        {"repaint", [this](auto&) { _window->repaint(); }},
        {"loop",
         [](auto&) {
           say(std::string("loop ") + QThread::currentThread()->eventDispatcher()->metaObject()->className());
         }},
        {"quit", [](auto&) { QCoreApplication::quit(); }},
    };
  }

  void open(int width, int height) {
    _window = makeWindow();
    _window->setGeometry(0, 0, width, height);
    oq::qt::attach(_window);
    _window->show();
    _window->activateWindow();
    _input = std::make_unique<QSocketNotifier>(0, QSocketNotifier::Read);
    QObject::connect(_input.get(), &QSocketNotifier::activated, &_application, [this] { obey(); });
    say("mapped");
  }

 private:
  /// A top-level splitter lays out each child that it notices.
  QWidget* makeWindow() {
    _field = new QLineEdit("typed text");
    _field->setObjectName("field");
    _button = new HostButton("host");
    if (_kind == "splitter") {
      auto* splitter = new QSplitter(Qt::Vertical);
      splitter->addWidget(_field);
      splitter->addWidget(_button);
      return splitter;
    }
    auto* window = new Window;
    window->setObjectName("window");
    auto* column = new QVBoxLayout(window);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(_field);
    column->addWidget(_button);
    for (const auto& keys : {QKeySequence(Qt::Key_Escape), QKeySequence(Qt::Key_N), QKeySequence("Ctrl+K")}) {
      auto* shortcut = new QShortcut(keys, window);
      QObject::connect(shortcut, &QShortcut::activated, window,
                       [keys] { say("shortcut " + keys.toString().toStdString()); });
    }
    return window;
  }

  void obey() {
    std::string line;
    if (!std::getline(std::cin, line)) return QCoreApplication::quit();
    std::istringstream in(line);
    if (const auto command = _commands.find(word(in)); command != _commands.end()) command->second(in);
    say("did " + line);
  }

  void pop(std::istream& in) {
    int style = 3, repeats = 1;
    in >> style >> repeats;
    std::string text;
    for (int i = 0; i < repeats; ++i) text += "全场八折 off ";
    auto data = std::make_shared<oq::OQWindowData>();
    data->setModelWithDic({{"style", style},
                           {"title", {{"text", "春季大促"}}},
                           {"content", {{"text", text}}},
                           {"buttonLeft", {{"text", "取消"}}},
                           {"buttonRight", {{"text", "确定"}}}});
    auto message = oq::makeMainObject<oq::OQPopWindow>();
    message->popWithData(data, [](std::int64_t code, const auto&) { say("code " + std::to_string(code)); });
    _message = message;
  }

  static void attachBadly() {
    say(oq::qt::attach(nullptr) ? "null attached" : "null refused");
    std::unique_ptr<QThread> thread(QThread::create(
        [] { say(oq::qt::attach(reinterpret_cast<QWidget*>(&say)) ? "thread attached" : "thread refused"); }));
    thread->start();
    thread->wait();
  }

  static void reportFocus() {
    const QWidget* widget = QApplication::focusWidget();
    say("focus " + (widget ? widget->objectName().toStdString() : "nothing"));
  }

  /// Whether the object that has the focus takes text from an input method.
  void reportInputMethod() {
    QInputMethodQueryEvent query(Qt::ImEnabled);
    QCoreApplication::sendEvent(QGuiApplication::focusObject(), &query);
    say(query.value(Qt::ImEnabled).toBool() ? "inputs 1" : "inputs 0");
  }

  void openMenu() {
    auto* menu = new QMenu(_window);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction("entry", [] { say("entry chosen"); });
    QObject::connect(menu, &QMenu::aboutToHide, menu, [] { say("menu closed"); });
    menu->popup({20, 400});
  }

  /// Runs a modal dialog with an event loop of its own until it is closed.
  void openDialog(bool isAttached) {
    QMetaObject::invokeMethod(
        &_application, [this, isAttached] { runDialog(isAttached); }, Qt::QueuedConnection);
  }

  /// Does the same in a block of the library's main queue, with another block behind it.
  void openDialogFromBlock() {
    oq::DispatchQueue::main().async([this] { runDialog(false); });
    oq::DispatchQueue::main().async([] { say("second block"); });
  }

  void runDialog(bool isAttached) {
    QDialog dialog(_window);
    auto* column = new QVBoxLayout(&dialog);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(new HostButton("inner"));
    dialog.setGeometry(500, 0, 375, 700);
    if (isAttached) oq::qt::attach(&dialog);
    QMetaObject::invokeMethod(
        &dialog, [] { say("dialog opened"); }, Qt::QueuedConnection);
    _dialog = &dialog;
    dialog.exec();
    say("dialog closed");
  }

  void addAbove() {
    auto* above = new HostButton("above", _window);
    above->setGeometry(0, 0, _window->width(), _window->height());
    above->show();
  }

  void addNative() {
    auto* native = new HostButton("native", _window);
    native->setAttribute(Qt::WA_NativeWindow);
    native->setGeometry(200, 350, 170, 100);
    native->show();
    native->raise();
  }

  void tap(std::istream& in) {
    static auto* finger = QTest::createTouchDevice(QInputDevice::DeviceType::TouchScreen);
    QPoint point;
    in >> point.rx() >> point.ry();
    QWindow* window = _window->windowHandle();
    QTest::touchEvent(window, finger).press(0, point, window);
    QTest::touchEvent(window, finger).release(0, point, window);
  }

  /// Delivers what the window system sends while something is dragged to a point and dropped there.
  void drop(std::istream& in) {
    QPoint point;
    in >> point.rx() >> point.ry();
    QMimeData data;
    data.setText("text");
    QDragEnterEvent enter(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(_window->windowHandle(), &enter);
    QDropEvent drop(point, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(_window->windowHandle(), &drop);
    say(drop.isAccepted() ? "drop accepted" : "drop refused");
  }

  void resize(std::istream& in) {
    int width = 0, height = 0;
    in >> width >> height;
    _window->resize(width, height);
  }

  void move(std::istream& in) {
    QPoint point;
    in >> point.rx() >> point.ry();
    _window->move(point);
  }

  void addWindow() {
    auto* window = new QWidget;
    window->setGeometry(400, 0, 375, 700);
    oq::qt::attach(window);
    window->show();
    _second.reset(window);
  }

  /// Reports the colour of a point of the window, and the window's width in pixels. For a display whose pixels the test
  /// cannot read.
  void grab(std::istream& in) {
    QPointF point;
    in >> point.rx() >> point.ry();
    const QImage image = _window->grab().toImage();
    const QColor colour = image.pixelColor((point * image.devicePixelRatio()).toPoint());
    say("grab " + colour.name().toStdString() + " " + std::to_string(image.width()));
  }

  /// Reports "card X Y WIDTH HEIGHT": the card on the stage.
  void reportCard() {
    const auto view = _message.lock()->contentView();
    const oq::CGPoint at = view->convertPointToWindow({});
    std::ostringstream text;
    text << "card " << at.x << " " << at.y << " " << view->bounds().size.width << " " << view->bounds().size.height;
    say(text.str());
  }

  static void reportState() {
    const auto& application = oq::UIApplication::sharedApplication();
    say("state scenes " + std::to_string(application.connectedScenes().size()) + " host " +
        std::to_string(application.host() != nullptr));
  }

  QApplication& _application;
  const std::string _kind;
  std::map<std::string, std::function<void(std::istream&)>> _commands;
  std::unique_ptr<QSocketNotifier> _input;
  std::weak_ptr<oq::OQPopWindow> _message;
  QWidget* _window = nullptr;
  std::unique_ptr<QWidget> _second;
  QDialog* _dialog = nullptr;
  QLineEdit* _field = nullptr;
  HostButton* _button = nullptr;
};

}  // namespace

int main(int argc, char** argv) {
  // Before the application object exists, nothing can be attached.
  if (oq::qt::attach(reinterpret_cast<QWidget*>(argv))) return 1;
  QCoreApplication::setAttribute(Qt::AA_DontCreateNativeWidgetSiblings);
  QApplication application(argc, argv);
  QApplication::setApplicationName("com.example.QtFixture");
  const std::string kind = argc > 3 ? argv[3] : "window";
  // Style sheets often give all widgets a background. The layer must stay transparent.
  if (kind != "window")
    application.setStyleSheet("QWidget { background: #3c78d8; color: #3c78d8; border: none; outline: none; }");
  Fixture fixture(application, kind);
  fixture.open(std::atoi(argv[1]), std::atoi(argv[2]));
  const int status = QApplication::exec();
  say("left");
  return status;
}
