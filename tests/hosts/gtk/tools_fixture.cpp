#include "CommandFixture.h"
#include "Engine/OQSDKManager.h"
#include "UIKit/Views/Animation.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// A host with one button, above which the ball of tools floats. Tells which of the ball's buttons was tapped,
/// and the environment whenever another one is stored. tools_test.py is its user.

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
                  {"rest", [](auto&) { tellRest(); }}});
  }

  void open() override {
    auto* window = new Gtk::Window;
    window->set_default_size(_width, _height);
    auto* button = Gtk::make_managed<Gtk::Button>("the host's");
    button->signal_clicked().connect([] { say("host clicked"); });
    window->set_child(*button);
    oq::gtk::attach(*window);
    oq::registerClass("TorvelinSDK", oq::Object::staticClass(), {});  // without it the library warns
    // The login comes to nothing, since no server listens.
    oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
    window->signal_map().connect([] { say("mapped"); });
    Glib::signal_timeout().connect([this] { return tellEnvironment(), true; }, 20);
    window->present();
  }

 private:
  static void showBall() {
    oq::OQFloatingBall::show();
    oq::OQFloatingBall::setFloatingBtnClickedCallback(tapped);
  }

  /// "at rest", once nothing moves and what follows a motion has been done: until then touches reach nothing.
  static void tellRest() {
    Glib::signal_timeout().connect(
        [quiet = 0]() mutable {
          quiet = oq::AnimationEngine::shared().isRunning() ? 0 : quiet + 1;
          if (quiet == 3) say("at rest");
          return quiet < 3;
        },
        10);
  }

  void tellEnvironment() {
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
