// SPDX-License-Identifier: Apache-2.0
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>

#include "Scenario.h"
#include "oqsdk/qt/QuickHost.h"

int main(int argc, char** argv) {
  oq::bench::Scenario scenario(argc, argv);
  if (scenario.isLinkOnly()) return 0;
  QGuiApplication application(argc, argv);
  QQmlEngine engine;
  QQmlComponent component(&engine);
  component.setData("import QtQuick\nColumn { Repeater { model: 40; Text { text: \"A line of the host's page\" } } }",
                    QUrl());
  QQuickWindow window;
  window.setFlag(Qt::FramelessWindowHint);
  window.resize(oq::bench::Scenario::width, oq::bench::Scenario::height);
  const std::unique_ptr<QObject> page(component.create());
  auto* item = qobject_cast<QQuickItem*>(page.get());
  if (!item) qFatal("%s", qPrintable(component.errorString()));
  item->setParentItem(window.contentItem());
  if (!scenario.isPlain()) oq::qt::attach(&window);
  window.show();
  QTimer::singleShot(0, &window, [&] {
    auto after = [&](double seconds, std::function<void()> block) {
      QTimer::singleShot(static_cast<int>(1e3 * seconds), &window, std::move(block));
    };
    scenario.begin(after, [] { QCoreApplication::quit(); });
  });
  return QGuiApplication::exec();
}
