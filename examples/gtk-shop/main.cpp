// SPDX-License-Identifier: Apache-2.0
#include <glib-unix.h>
#include <glibmm.h>
#include <oqsdk/gtk/GtkHost.h>
#include <oqsdk/oqsdk.h>

#include <iostream>

#include "ShopTools.h"
#include "ShopWindow.h"
#include "TorvelinSDK.h"

namespace {

constexpr const char* applicationId = "com.torvelin.shop";

struct Options {
  Glib::ustring user = "guest";
  Glib::ustring appKey = "torvelin-shop";
  std::string dataDirectory;
  int environment = -1;
  int width = 540;
  int height = 960;
  int quitAfter = 0;
  bool printLayout = false;
  bool tools = false;
  Glib::ustring logRecipient = "logs@torvelin.example";
};

Glib::OptionEntry entry(const char* name, const char* description, const char* argument = "") {
  Glib::OptionEntry option;
  option.set_long_name(name);
  option.set_description(description);
  option.set_arg_description(argument);
  return option;
}

/// Throws Glib::Error for an unknown option.
Options readOptions(int& argc, char**& argv) {
  Options options;
  Glib::OptionGroup group("shop", "Shop");
  group.add_entry(entry("user", "Who is shopping", "ID"), options.user);
  group.add_entry(entry("app-key", "The application key for the campaign server", "KEY"), options.appKey);
  group.add_entry(entry("env", "0 production, 1 test, 2 development; stored for later runs", "N"), options.environment);
  group.add_entry_filename(entry("data-dir", "The folder for the library's data", "DIR"), options.dataDirectory);
  group.add_entry(entry("width", "Width of the window", "POINTS"), options.width);
  group.add_entry(entry("height", "Height of the window", "POINTS"), options.height);
  group.add_entry(entry("quit-after", "Close the shop after a while", "SECONDS"), options.quitAfter);
  group.add_entry(entry("tools", "Show the tools for developers"), options.tools);
  group.add_entry(entry("log-recipient", "The recipient of the log by mail", "ADDRESS"), options.logRecipient);
  group.add_entry(entry("print-layout", "Print the positions of the buttons, and the pages"), options.printLayout);
  Glib::OptionContext context;
  context.set_main_group(group);
  context.parse(argc, argv);
  return options;
}

/// Everything the shop needs to show in-app messages.
void startMessages(ShopWindow& window, const Options& options) {
  oq::gtk::AttachOptions attachment;
  attachment.applicationIdentifier = applicationId;
  attachment.applicationVersion = "1.0";
  attachment.dataDirectory = options.dataDirectory;
  oq::gtk::attach(window, attachment);

  auto config = oq::TorvelinOqConfig::defaultConfig();
  config->setAppKey(options.appKey);
  if (options.environment >= 0) config->setEnvType(static_cast<std::uint64_t>(options.environment));
  oq::TorvelinOqManager::startWithConfig(config);
  oq::gtk::collectPages(window.pages());
}

/// Prints "page NAME" if the library has seen a new page since the last call. For scripts.
void printPages() {
  static std::string last;
  const std::string page = oq::TorvelinOqManager::engine().pageName().value_or("");
  if (page != last) std::cout << "page " << (last = page) << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  Glib::init();
  Options options;
  try {
    options = readOptions(argc, argv);
  } catch (const Glib::Error& error) {
    std::cerr << "gtk-shop: " << error.what() << "\n";
    return 2;
  }

  auto application = Gtk::Application::create(applicationId, Gio::Application::Flags::NON_UNIQUE);
  TorvelinSDK analytics(options.appKey, options.user);
  application->signal_activate().connect([&] {
    auto* window = new ShopWindow(analytics, options.width, options.height);
    window->signal_hide().connect([window] { delete window; });
    application->add_window(*window);
    if (options.printLayout) window->printLayout();
    // The library is not started yet, so it does not see the page view that this call records. This is intentional: the
    // customer did not choose the first page.
    window->showPage("products");
    if (options.printLayout) Glib::signal_timeout().connect([] { return printPages(), true; }, 100);
    startMessages(*window, options);
    window->present();
    if (options.tools) showShopTools(*window, analytics, options.logRecipient);
    if (options.quitAfter > 0) {
      auto quit = [application] { application->quit(); };
      Glib::signal_timeout().connect_seconds_once(quit, static_cast<unsigned>(options.quitAfter));
    }
  });
  // SIGTERM and SIGINT close the shop in an orderly way.
  auto end = +[](gpointer running) -> gboolean {
    g_application_quit(G_APPLICATION(running));
    return G_SOURCE_REMOVE;
  };
  g_unix_signal_add(SIGTERM, end, application->gobj());
  g_unix_signal_add(SIGINT, end, application->gobj());
  return application->run();
}
