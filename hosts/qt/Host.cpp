// SPDX-License-Identifier: Apache-2.0
#include "Host.h"

#include <QtCore/QThread>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QApplication>
#include <QtWidgets/QStyle>
#include <cmath>
#include <utility>

#include "Foundation/Values/Format.h"

namespace oq::qt {

namespace {

/// Seconds that the main queue may take from one pass of Qt's event loop.
constexpr double kPumpBudget = 0.004;

/// Kept until the application object is destroyed, so that the main queue also runs while there is no window.
std::shared_ptr<Host>& currentHost() {
  static auto& host = *new std::shared_ptr<Host>;
  return host;
}

std::string firstOf(const std::string& given, const QString& first, const QString& second = {}) {
  if (!given.empty()) return given;
  return (first.isEmpty() ? second : first).toStdString();
}

/// Applies the options that concern the whole process. Only those of the first attachment count.
void install(const AttachOptions& options) {
  static bool installed = false;
  if (std::exchange(installed, true)) return;
  const std::string identifier =
      firstOf(options.applicationIdentifier, QGuiApplication::desktopFileName(), QCoreApplication::applicationName());
  const std::string version = firstOf(options.applicationVersion, QCoreApplication::applicationVersion());
  prepareProcess({identifier, version, options.dataDirectory}, MainLoop::OfHost);
}

}  // namespace

std::shared_ptr<Host> Host::prepare(const AttachOptions& options, const char* caller) {
  auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
  if (!application) {
    qWarning("%s: create the application object (QApplication or QGuiApplication) first", caller);
    return nullptr;
  }
  if (QThread::currentThread() != application->thread()) {
    qWarning("%s: call this function on the application's main thread", caller);
    return nullptr;
  }
  install(options);
  auto& host = currentHost();
  if (!host) host = std::make_shared<Host>();
  return host;
}

Host::Host() {
  _timer.setSingleShot(true);
  _timer.setTimerType(Qt::PreciseTimer);
  QObject::connect(&_timer, &QTimer::timeout, &_context, [this] { pumpNow(); });
  _applicationEnd = QObject::connect(qApp, &QObject::destroyed, qApp, [this] { stop(); });
  setWake([this] { pumpLater(); });
  updateAnimations();
}

Host::~Host() {
  QObject::disconnect(_applicationEnd);
  setWake(nullptr);
}

/// After the application object there is no event loop.
void Host::stop() {
  setWake(nullptr);
  _timer.stop();
  // Destroys this host, unless a surface still exists.
  const auto last = std::exchange(currentHost(), nullptr);
}

/// Called on any thread.
void Host::pumpLater() {
  if (QThread::currentThread() == _context.thread()) {
    // A posted event would be handled before Qt's other events, so a block that queues itself would stop the program.
    _timer.start(1);
  } else {
    QMetaObject::invokeMethod(
        &_context, [this] { pumpNow(); }, Qt::QueuedConnection);
  }
}

void Host::pumpNow() {
  // A block may run an event loop of its own, as a modal dialog does. The timer then continues with the other blocks.
  _timer.start(1);
  double next = 0;
  try {
    next = pump(kPumpBudget);
  } catch (const std::exception& failure) {
    // An exception must not unwind through Qt's event loop.
    platformLog(failure.what());
  }
  if (std::isfinite(next)) {
    _timer.start(std::max(1, static_cast<int>(std::ceil(std::min(next, 1e6) * 1000))));
  } else {
    _timer.stop();
  }
}

void Host::forbidWebPages() {
  _webPages.forbid();
}

void Host::updateAnimations() {
  // Without QApplication there is no style, and Qt has no other public setting for animations.
  const bool hasStyle = qobject_cast<QApplication*>(QCoreApplication::instance());
  setAnimationsEnabled(!hasStyle || QApplication::style()->styleHint(QStyle::SH_Widget_Animation_Duration) > 0);
}

}  // namespace oq::qt
