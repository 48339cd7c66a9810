// SPDX-License-Identifier: Apache-2.0
#include <QApplication>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

#include "Scenario.h"
#include "oqsdk/qt/QtHost.h"

int main(int argc, char** argv) {
  oq::bench::Scenario scenario(argc, argv);
  if (scenario.isLinkOnly()) return 0;
  QApplication application(argc, argv);
  QWidget window(nullptr, Qt::FramelessWindowHint);
  window.resize(oq::bench::Scenario::width, oq::bench::Scenario::height);
  auto* box = new QVBoxLayout(&window);
  for (int i = 0; i < 40; ++i) box->addWidget(new QLabel("A line of the host's page"));
  if (!scenario.isPlain()) oq::qt::attach(&window);
  window.show();
  QTimer::singleShot(0, &window, [&] {
    auto after = [&](double seconds, std::function<void()> block) {
      QTimer::singleShot(static_cast<int>(1e3 * seconds), &window, std::move(block));
    };
    scenario.begin(after, [] { QCoreApplication::quit(); });
  });
  return QApplication::exec();
}
