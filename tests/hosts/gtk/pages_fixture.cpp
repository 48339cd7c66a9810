// SPDX-License-Identifier: Apache-2.0
#include <gtkmm.h>

#include <future>
#include <iostream>

#include "Engine/OQSDKManager.h"
#include "ShopWindow.h"
#include "Utils/OQDispatchQueueManager.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// Shows the example shop's window, a notebook and a page of another kind. After each step it prints the name of the
/// page that the library has recorded, or "none". pages_test.py contains the expected lines.

namespace {

/// Prints the recorded page after all pages shown so far have been processed.
void reportPage(const std::string& what) {
  std::promise<void> decided;
  oq::OQDispatchQueueManager::dispatchInSerialQueue(oq::QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                    [&] { decided.set_value(); });
  decided.get_future().wait();
  std::cout << what << ": " << oq::OQSDKManager::sharedManager().pageName().value_or("none") << std::endl;
  oq::OQSDKManager::sharedManager().setPageName(std::nullopt);
}

void settle() {
  auto context = Glib::MainContext::get_default();
  while (context->iteration(false)) {
  }
}

void visitShop() {
  TorvelinSDK analytics("fixture", "anna");
  ShopWindow shop(analytics, 400, 700);
  oq::gtk::attach(shop);
  oq::gtk::collectPages(shop.pages());
  reportPage("before it is shown");
  shop.present();
  settle();
  reportPage("shop");
  for (const char* name : {"cart", "about", "about", "products"}) {
    shop.showPage(name);
    reportPage(name);
  }
  shop.set_visible(false);
  shop.showPage("cart");
  reportPage("while it is hidden");
  shop.present();
  settle();
  reportPage("shown again");
}

void visitOthers() {
  Gtk::Window window;
  auto* notebook = Gtk::make_managed<Gtk::Notebook>();
  auto* named = Gtk::make_managed<Gtk::Label>("named");
  named->set_name("settings-general");
  notebook->append_page(*named, "General");
  notebook->append_page(*Gtk::make_managed<Gtk::Label>("text"), "Key bindings");
  notebook->append_page(*Gtk::make_managed<Gtk::Label>("text"), "UIWindow");
  oq::gtk::collectPages(
      *notebook, [](const std::string& name) { return name == "UIWindow" ? name : oq::gtk::pageClassName(name); });
  window.set_child(*notebook);
  window.present();
  settle();
  reportPage("notebook");
  notebook->set_current_page(1);
  reportPage("second tab");
  notebook->set_current_page(2);
  reportPage("a name that is taken");
  oq::gtk::ShownPage page("WelcomePage");
  reportPage("any other");
}

}  // namespace

int main() {
  Gtk::Application::create("com.example.pages", Gio::Application::Flags::NON_UNIQUE);
  gtk_init();
  // Without a network the hooks are installed, and the login fails.
  Gtk::Window first;
  oq::gtk::attach(first);
  oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
  visitShop();
  visitOthers();
  std::cout << "left" << std::endl;
  return 0;
}
