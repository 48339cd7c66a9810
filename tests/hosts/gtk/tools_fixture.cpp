// SPDX-License-Identifier: Apache-2.0
#include "CommandFixture.h"
#include "Engine/OQSDKManager.h"
#include "UIKit/Views/Animation.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// A host with one button and the floating ball above it. Reports taps on the ball's buttons, and each change of the
/// stored environment. tools_test.py controls it.

namespace {

void tapped(std::int64_t index) {
  say("tapped " + std::to_string(index));
  if (index == 1) oq::OQSDKManager::sharedManager().changeEnvironment();
  if (index == 2) oq::OQDiagnosticsPanel::show();
}

class Fixture : public CommandFixture {
 public:
  Fixture(int width, int height) : _width(width), _height(height) {
    takeCommands({{"ball", [](auto&) { showBall(); }},
                  {"diagnostics", [](auto&) { oq::OQDiagnosticsPanel::show(); }},
                  {"rest", [](auto&) { reportRest(); }}});
  }

  void open() override {
    auto* window = new Gtk::Window;
    window->set_default_size(_width, _height);
    auto* button = Gtk::make_managed<Gtk::Button>("the host's");
    button->signal_clicked().connect([] { say("host clicked"); });
    window->set_child(*button);
    oq::gtk::attach(*window);
    oq::registerClass("TorvelinSDK", oq::Object::staticClass(), {});  // without it the library warns
    // The login fails, since no server is running.
    oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
    window->signal_map().connect([] { say("mapped"); });
    Glib::signal_timeout().connect([this] { return reportEnvironment(), true; }, 20);
    window->present();
  }

 private:
  static void showBall() {
    oq::OQFloatingBall::show();
    oq::OQFloatingBall::setFloatingBtnClickedCallback(tapped);
  }

  /// Reports "at rest" when no animation runs and its completions are done. Moving views ignore touches.
  static void reportRest() {
    Glib::signal_timeout().connect(
        [quiet = 0]() mutable {
          quiet = oq::AnimationEngine::shared().isRunning() ? 0 : quiet + 1;
          if (quiet == 3) say("at rest");
          return quiet < 3;
        },
        10);
  }

  void reportEnvironment() {
    const std::uint64_t now = oq::OQSDKManager::getEnvironment();
    if (now != _environment) say("environment " + std::to_string(_environment = now));
  }

  const int _width, _height;
  std::uint64_t _environment = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  return runFixture("com.example.tools", std::make_unique<Fixture>(std::atoi(argv[1]), std::atoi(argv[2])));
}
