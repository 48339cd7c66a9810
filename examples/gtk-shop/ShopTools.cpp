// SPDX-License-Identifier: Apache-2.0
#include "ShopTools.h"

#include <oqsdk/oqsdk.h>

namespace {

void rename(ShopWindow& window, TorvelinSDK& analytics, const Glib::ustring& name) {
  if (name.empty()) return;
  analytics.setUserId(name);
  analytics.track("alias", {{"name", name}});
  window.say("Shopping as " + name + " now");
}

/// Asks for the customer's new name.
void askForAlias(ShopWindow& window, TorvelinSDK& analytics) {
  auto* question = new Gtk::Window;
  question->set_title("Who is shopping?");
  question->set_transient_for(window);
  question->set_modal();
  question->set_resizable(false);
  auto* row = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::HORIZONTAL, 10);
  row->set_margin(20);
  auto* entry = Gtk::make_managed<Gtk::Entry>();
  entry->set_placeholder_text("A name");
  auto* done = Gtk::make_managed<Gtk::Button>("Rename");
  done->add_css_class("suggested-action");
  auto answered = [question, entry, &window, &analytics] {
    rename(window, analytics, entry->get_text());
    question->close();
  };
  entry->signal_activate().connect(answered);
  done->signal_clicked().connect(answered);
  row->append(*entry);
  row->append(*done);
  question->set_child(*row);
  question->signal_hide().connect([question] { delete question; });
  question->present();
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
  auto leave = [] {
    oq::OQFloatingBall::setFloatingBtnClickedCallback(nullptr);
    oq::OQFloatingBall::hide();
  };
  // The floating ball outlives the window, so it is hidden with the window. `false` makes this handler run before the
  // one that deletes the window.
  window.signal_hide().connect(leave, false);
}
