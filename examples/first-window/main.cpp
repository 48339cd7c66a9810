// SPDX-License-Identifier: Apache-2.0

// A window with one button. A press records an event, and the library may show a message for it.
#include <gtkmm.h>
#include <oqsdk/gtk/GtkHost.h>
#include <oqsdk/oqsdk.h>

int main(int argc, char** argv) {
  auto application = Gtk::Application::create("com.example.FirstWindow");
  application->signal_activate().connect([&] {
    auto* button = Gtk::make_managed<Gtk::Button>("Buy");
    button->set_halign(Gtk::Align::CENTER);
    button->set_valign(Gtk::Align::CENTER);

    auto* window = new Gtk::Window;
    window->set_title("First window");
    window->set_default_size(390, 700);
    window->set_child(*button);
    window->signal_hide().connect([window] { delete window; });
    application->add_window(*window);

    oq::gtk::attach(*window);                                               // messages appear in this window
    oq::Messages::setUser("user-1");                                        // campaigns belong to a user
    oq::Messages::start({"my-application", "https://localhost:8088"});      // logs in, fetches the campaigns
    button->signal_clicked().connect([] { oq::Messages::record("buy"); });  // an event may show a message
    window->present();
  });
  return application->run(argc, argv);
}
