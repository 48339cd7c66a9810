// SPDX-License-Identifier: Apache-2.0
#include "ShopTools.h"

#include <oqsdk/oqsdk.h>
#include <QtWidgets/QInputDialog>

namespace {

/// Asks for the customer's new name.
void askForAlias(ShopWindow& window, TorvelinSDK& analytics) {
  auto* question = new QInputDialog(&window);
  question->setAttribute(Qt::WA_DeleteOnClose);
  question->setWindowTitle("Who is shopping?");
  question->setLabelText("A name");
  question->setOkButtonText("Rename");
  QObject::connect(question, &QInputDialog::textValueSelected, &window, [&](const QString& name) {
    if (name.isEmpty()) return;
    analytics.setUserId(name.toStdString());
    analytics.track("alias", {{"name", name.toStdString()}});
    window.say("Shopping as " + name + " now");
  });
  question->open();
}

}  // namespace

void showShopTools(ShopWindow& window, TorvelinSDK& analytics, const std::string& recipient) {
  oq::OQFloatingBall::show();
  oq::OQFloatingBall::setFloatingBtnClickedCallback([&window, &analytics, recipient](std::int64_t index) {
    if (index == 0) askForAlias(window, analytics);
    if (index == 1) oq::TorvelinOqManager::engine().changeEnvironment();
    if (index == 2) oq::TorvelinOqManager::engine().sendLogToEmail(recipient);
  });
  window.addAboutButton("diagnostics", "What the messages see", [] { oq::OQDiagnosticsPanel::show(); });
  // The floating ball outlives the window, so it is hidden with the window.
  QObject::connect(&window, &QObject::destroyed, [] {
    oq::OQFloatingBall::setFloatingBtnClickedCallback(nullptr);
    oq::OQFloatingBall::hide();
  });
}
