// SPDX-License-Identifier: Apache-2.0

// The neighbour's library in an empty program of Qt 5; with any argument, the same program without it.
#include <KUserFeedback/Provider>
#include <QApplication>
#include <QWidget>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QWidget window;
  window.resize(1080, 1920);
  std::unique_ptr<KUserFeedback::Provider> provider;
  if (argc == 1) {
    provider = std::make_unique<KUserFeedback::Provider>();
    provider->setProductIdentifier("com.example.bench");
    provider->setFeedbackServer(QUrl("https://localhost:1/"));
    provider->setTelemetryMode(KUserFeedback::Provider::DetailedUsageStatistics);
  }
  window.show();
}
