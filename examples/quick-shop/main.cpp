// SPDX-License-Identifier: Apache-2.0
#include <oqsdk/oqsdk.h>
#include <oqsdk/qt/QuickHost.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtCore/QtPlugin>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>
#include <QtQml/QQmlContext>
#include <QtQuick/QQuickItem>
#include <iostream>

#include "Art.h"
#include "Shop.h"
#include "TorvelinSDK.h"

#ifdef OQSDK_STATIC_QML
Q_IMPORT_PLUGIN(OqsdkPlugin)
#endif

namespace {

/// The options are those of the other example shops.
void readOptions(QCommandLineParser& parser, const QGuiApplication& application) {
  parser.addHelpOption();
  parser.addOptions({{"user", "Who is shopping", "ID", "guest"},
                     {"app-key", "The application key for the campaign server", "KEY", "torvelin-shop"},
                     {"env", "0 production, 1 test, 2 development; stored for later runs", "N", "-1"},
                     {"data-dir", "The folder for the library's data", "DIR"},
                     {"width", "Width of the window", "POINTS", "540"},
                     {"height", "Height of the window", "POINTS", "960"},
                     {"quit-after", "Close the shop after a while", "SECONDS", "0"},
                     {"tools", "Show the tools for developers"},
                     {"log-recipient", "The recipient of the log by mail", "ADDRESS", "logs@torvelin.example"},
                     {"print-layout", "Print the positions of the buttons, and the pages"}});
  parser.process(application);
}

void startMessages(const QCommandLineParser& options) {
  auto config = oq::TorvelinOqConfig::defaultConfig();
  config->setAppKey(options.value("app-key").toStdString());
  const int environment = options.value("env").toInt();
  if (environment >= 0) config->setEnvType(static_cast<std::uint64_t>(environment));
  oq::TorvelinOqManager::startWithConfig(config);
}

/// The ball of the tools can change the environment and send the log.
void showTools(const QCommandLineParser& options) {
  oq::OQFloatingBall::show();
  const std::string recipient = options.value("log-recipient").toStdString();
  oq::OQFloatingBall::setFloatingBtnClickedCallback([recipient](std::int64_t index) {
    if (index == 1) oq::TorvelinOqManager::engine().changeEnvironment();
    if (index == 2) oq::TorvelinOqManager::engine().sendLogToEmail(recipient);
  });
}

/// Prints "page NAME" if the library has seen a new page since the last call. For scripts.
void printPages() {
  static std::string last;
  const std::string page = oq::TorvelinOqManager::engine().pageName().value_or("");
  if (page != last) std::cout << "page " << (last = page) << std::endl;
}

/// SIGTERM and SIGINT close the shop in an orderly way. Called before any other thread starts, so that all threads
/// block these signals.
int watchSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC);
}

}  // namespace

int main(int argc, char** argv) {
  const int signals = watchSignals();
  QGuiApplication application(argc, argv);
  QGuiApplication::setApplicationName("com.torvelin.shop");
  QGuiApplication::setApplicationVersion("1.0");
  QCommandLineParser options;
  readOptions(options, application);

  QSocketNotifier ended(signals, QSocketNotifier::Read);
  QObject::connect(&ended, &QSocketNotifier::activated, &application, &QGuiApplication::quit);
  TorvelinSDK analytics(options.value("app-key").toStdString(), options.value("user").toStdString());
  Shop shop(analytics);
  QQmlApplicationEngine engine;
  engine.addImportPath(OQSDK_BUILT_QML_DIR);
  engine.addImageProvider("art", new Art);  // the engine owns it
  engine.rootContext()->setContextProperty("shop", &shop);
  engine.setInitialProperties({{"width", options.value("width").toInt()}, {"height", options.value("height").toInt()}});
  engine.load(QUrl("qrc:/Main.qml"));
  if (engine.rootObjects().isEmpty()) return 1;
  auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());

  // The folder of the data is an option of the first attachment, so this window is attached here. Usually MessageLayer
  // in the QML file attaches it.
  oq::qt::AttachOptions attachment;
  attachment.dataDirectory = options.value("data-dir").toStdString();
  oq::qt::attach(window, attachment);
  startMessages(options);
  window->show();
  oq::qt::collectPages(window->findChild<QQuickItem*>("pages"));
  QTimer pages;
  if (options.isSet("print-layout")) {
    shop.printLayout(*window);
    shop.layoutChanged();
    QObject::connect(&pages, &QTimer::timeout, window, printPages);
    pages.start(100);
  }
  if (options.isSet("tools")) showTools(options);
  const int seconds = options.value("quit-after").toInt();
  if (seconds > 0) QTimer::singleShot(seconds * 1000, &application, &QGuiApplication::quit);
  return QGuiApplication::exec();
}
