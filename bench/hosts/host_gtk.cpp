// SPDX-License-Identifier: Apache-2.0
#include <gtkmm.h>

#include "Scenario.h"
#include "oqsdk/gtk/GtkHost.h"

int main(int argc, char** argv) {
  oq::bench::Scenario scenario(argc, argv);
  if (scenario.isLinkOnly()) return 0;
  auto application = Gtk::Application::create("com.example.bench", Gio::Application::Flags::NON_UNIQUE);
  std::unique_ptr<Gtk::Window> window;
  application->signal_activate().connect([&] {
    window = std::make_unique<Gtk::Window>();
    window->set_decorated(false);
    window->set_default_size(oq::bench::Scenario::width, oq::bench::Scenario::height);
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    for (int i = 0; i < 40; ++i) box->append(*Gtk::make_managed<Gtk::Label>("A line of the host's page"));
    window->set_child(*box);
    if (!scenario.isPlain()) oq::gtk::attach(*window);
    application->add_window(*window);
    window->signal_map().connect([&] {
      auto after = [](double seconds, std::function<void()> block) {
        Glib::signal_timeout().connect_once(std::move(block), static_cast<unsigned>(1e3 * seconds));
      };
      scenario.begin(after, [&] { application->quit(); });
    });
    window->present();
  });
  return application->run(1, argv);
}
