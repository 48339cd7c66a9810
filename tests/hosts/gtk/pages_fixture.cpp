#include <gtkmm.h>

#include <future>
#include <iostream>

#include "Engine/OQSDKManager.h"
#include "ShopWindow.h"
#include "Utils/OQDispatchQueueManager.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

/// The example shop's window, a notebook and a page of another kind, and what the engine calls the page that
/// shows: "NAME" or "none", a line for each thing that happens. pages_test.py knows what the lines have to be.

namespace {

/// What the engine has recorded once everything that appeared so far has been decided on.
void tellPage(const std::string& what) {
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
  tellPage("before it is shown");
  shop.present();
  settle();
  tellPage("shop");
  for (const char* name : {"cart", "about", "about", "products"}) {
    shop.showPage(name);
    tellPage(name);
  }
  shop.set_visible(false);
  shop.showPage("cart");
  tellPage("while it is hidden");
  shop.present();
  settle();
  tellPage("shown again");
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
  tellPage("notebook");
  notebook->set_current_page(1);
  tellPage("second tab");
  notebook->set_current_page(2);
  tellPage("a name that is taken");
  oq::gtk::ShownPage page("WelcomePage");
  tellPage("any other");
}

}  // namespace

int main() {
  Gtk::Application::create("com.example.pages", Gio::Application::Flags::NON_UNIQUE);
  gtk_init();
  // Started without a network: the hooks are installed, the login comes to nothing.
  Gtk::Window first;
  oq::gtk::attach(first);
  oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
  visitShop();
  visitOthers();
  std::cout << "left" << std::endl;
  return 0;
}
