// SPDX-License-Identifier: Apache-2.0

// A window with one button. A press records an event, and the library may show a message for it.
#include <gtkmm.h>
#include <oqsdk/gtk/GtkHost.h>
#include <oqsdk/oqsdk.h>

#include <ctime>

// Your analytics class: each event goes through saveUploadInfo, which the library watches.
class TorvelinSDK : public oq::Object {
  OQ_CLASS(TorvelinSDK)

 public:
  void record(const std::string& name) {
    oq::Value event = oq::Dictionary{{"xwho", "user-1"},
                                     {"appid", "first-window"},
                                     {"xwhat", name},
                                     {"xwhen", 1000 * std::time(nullptr)},
                                     {"xcontext", oq::Dictionary()}};
    oq::send(*this, oq::saveUploadInfo, event, name, nullptr);
  }

 private:
  void _upload(const oq::Value&, const std::string&, const oq::UploadHandler&) {}  // send the event to your own server
};

oq::Class* TorvelinSDK::staticClass() {
  static oq::Class* registered = oq::registerClass("TorvelinSDK", oq::Object::staticClass(),
                                                   {oq::method<&TorvelinSDK::_upload>(oq::saveUploadInfo)});
  return registered;
}

int main(int argc, char** argv) {
  auto application = Gtk::Application::create("com.example.FirstWindow");
  TorvelinSDK analytics;
  application->signal_activate().connect([&] {
    auto* button = Gtk::make_managed<Gtk::Button>("Buy");
    button->set_halign(Gtk::Align::CENTER);
    button->set_valign(Gtk::Align::CENTER);
    button->signal_clicked().connect([&] { analytics.record("buy"); });

    auto* window = new Gtk::Window;
    window->set_title("First window");
    window->set_default_size(390, 700);
    window->set_child(*button);
    window->signal_hide().connect([window] { delete window; });
    application->add_window(*window);

    oq::gtk::attach(*window);  // messages appear in this window
    auto config = oq::TorvelinOqConfig::defaultConfig();
    config->setAppKey("my-application");
    oq::TorvelinOqManager::startWithConfig(config);  // from now on the library sees the events
    analytics.record("start");                       // right away: campaigns are only fetched for a known user
    window->present();
  });
  return application->run(argc, argv);
}
