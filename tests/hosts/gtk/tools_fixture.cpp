#include <gtkmm.h>

#include <iostream>

#include "Manager/OQSDKManager.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// A host with one button, above which the ball of tools floats. Tells which of the ball's buttons was tapped,
/// and the environment whenever another one is stored. tools_test.py is its user.

namespace {

void say(const std::string& line) {
  std::cout << line << std::endl;
}

bool tellEnvironment() {
  static std::uint64_t last = 0;
  const std::uint64_t now = oq::OQSDKManager::getEnvironment();
  if (now != last) say("environment " + std::to_string(last = now));
  return true;
}

void tapped(std::int64_t index) {
  say("tapped " + std::to_string(index));
  if (index == 1) oq::OQSDKManager::sharedManager().changeEnvironment();
  if (index == 2) oq::OQDiagnosticsPanel::show();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  auto application = Gtk::Application::create("com.example.tools", Gio::Application::Flags::NON_UNIQUE);
  application->signal_activate().connect([&] {
    auto* window = Gtk::make_managed<Gtk::ApplicationWindow>();
    window->set_default_size(std::atoi(argv[1]), std::atoi(argv[2]));
    auto* button = Gtk::make_managed<Gtk::Button>("the host's");
    button->signal_clicked().connect([] { say("host clicked"); });
    window->set_child(*button);
    application->add_window(*window);
    oq::gtk::attach(*window);
    // The login comes to nothing, since nobody listens.
    oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
    window->signal_map().connect([] {
      Glib::signal_timeout().connect_once(
          [] {
            oq::OQFloatingBall::show();
            oq::OQFloatingBall::setFloatingBtnClickedCallback(tapped);
            say("ready");
          },
          200);
    });
    Glib::signal_timeout().connect(&tellEnvironment, 20);
    window->present();
  });
  return application->run();
}
