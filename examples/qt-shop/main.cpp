// SPDX-License-Identifier: Apache-2.0
#include <oqsdk/oqsdk.h>
#include <oqsdk/qt/QtHost.h>
#include <signal.h>
#include <sys/signalfd.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>
#include <iostream>

#include "ShopTools.h"
#include "ShopWindow.h"
#include "TorvelinSDK.h"

namespace {

/// The options are those of the other example shops.
void readOptions(QCommandLineParser& parser, const QApplication& application) {
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

/// Everything the shop needs to show in-app messages.
void startMessages(ShopWindow& window, const QCommandLineParser& options) {
  oq::qt::AttachOptions attachment;
  attachment.dataDirectory = options.value("data-dir").toStdString();
  oq::qt::attach(&window, attachment);

  auto config = oq::TorvelinOqConfig::defaultConfig();
  config->setAppKey(options.value("app-key").toStdString());
  const int environment = options.value("env").toInt();
  if (environment >= 0) config->setEnvType(static_cast<std::uint64_t>(environment));
  oq::TorvelinOqManager::startWithConfig(config);
  oq::qt::collectPages(&window.pages());
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
  QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);  // for web pages
  QApplication application(argc, argv);
  QApplication::setApplicationName("com.torvelin.shop");
  QApplication::setApplicationVersion("1.0");
  QCommandLineParser options;
  readOptions(options, application);

  QSocketNotifier ended(signals, QSocketNotifier::Read);
  QObject::connect(&ended, &QSocketNotifier::activated, &application, &QApplication::quit);
  TorvelinSDK analytics(options.value("app-key").toStdString(), options.value("user").toStdString());
  ShopWindow window(analytics, options.value("width").toInt(), options.value("height").toInt());
  if (options.isSet("print-layout")) window.printLayout();
  // The library is not started yet, so it does not see the page view that this call records. This is intentional: the
  // customer did not choose the first page.
  window.showPage("products");
  QTimer pages;
  if (options.isSet("print-layout")) {
    QObject::connect(&pages, &QTimer::timeout, &window, printPages);
    pages.start(100);
  }
  startMessages(window, options);
  window.show();
  if (options.isSet("tools")) showShopTools(window, analytics, options.value("log-recipient").toStdString());
  const int seconds = options.value("quit-after").toInt();
  if (seconds > 0) QTimer::singleShot(seconds * 1000, &application, &QApplication::quit);
  return QApplication::exec();
}
