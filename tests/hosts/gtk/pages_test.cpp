// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <gtkmm.h>

#include <future>

#include "Engine/OQSDKManager.h"
#include "ShopWindow.h"
#include "Utils/OQDispatchQueueManager.h"
#include "oqsdk/gtk/GtkHost.h"
#include "oqsdk/oqsdk.h"

// Tests the names that the library gives to the pages of a GTK host.

namespace {

/// The page recorded since the last call, or "none", after all pages shown so far have been processed.
std::string page() {
  while (Glib::MainContext::get_default()->iteration(false)) continue;
  std::promise<void> decided;
  oq::OQDispatchQueueManager::dispatchInSerialQueue(oq::QUEUE_TAG_HANDLE_NORMAL_ASYNC_TASK_IN_MAIN_THREAD,
                                                    [&] { decided.set_value(); });
  decided.get_future().wait();
  const std::string name = oq::OQSDKManager::sharedManager().pageName().value_or("none");
  oq::OQSDKManager::sharedManager().setPageName(std::nullopt);
  return name;
}

TEST(Pages, AStackReportsEachPageThatComesOnScreen) {
  TorvelinSDK analytics("fixture", "anna");
  ShopWindow shop(analytics, 400, 700);
  oq::gtk::attach(shop);
  oq::gtk::collectPages(shop.pages());
  EXPECT_EQ(page(), "none") << "not yet shown";
  shop.present();
  EXPECT_EQ(page(), "ProductsPage");
  for (const auto& [name, expected] :
       {std::pair("cart", "CartPage"), {"about", "AboutPage"}, {"about", "none"}, {"products", "ProductsPage"}}) {
    shop.showPage(name);
    EXPECT_EQ(page(), expected) << name;
  }
  shop.set_visible(false);
  shop.showPage("cart");
  EXPECT_EQ(page(), "none") << "hidden";
  shop.present();
  EXPECT_EQ(page(), "CartPage");
}

TEST(Pages, ANotebookReportsWidgetNamesOrTabTitles) {
  Gtk::Window window;
  auto* notebook = Gtk::make_managed<Gtk::Notebook>();
  auto* named = Gtk::make_managed<Gtk::Label>("named");
  named->set_name("settings-general");
  notebook->append_page(*named, "General");
  notebook->append_page(*Gtk::make_managed<Gtk::Label>("text"), "Key bindings");
  notebook->append_page(*Gtk::make_managed<Gtk::Label>("text"), "UIWindow");
  window.set_child(*notebook);
  window.present();
  EXPECT_EQ(page(), "none");
  // collectPages() also reports the page that is already on screen.
  oq::gtk::collectPages(
      *notebook, [](const std::string& name) { return name == "UIWindow" ? name : oq::gtk::pageClassName(name); });
  EXPECT_EQ(page(), "SettingsGeneralPage");
  notebook->set_current_page(1);
  EXPECT_EQ(page(), "KeyBindingsPage");
  notebook->set_current_page(2);
  EXPECT_EQ(page(), "none") << "the name of another class";
  oq::gtk::ShownPage other("WelcomePage");
  EXPECT_EQ(page(), "WelcomePage");
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  Gtk::Application::create("com.example.pages", Gio::Application::Flags::NON_UNIQUE);
  gtk_init();
  // There is no network: the hooks are installed, but the login fails.
  Gtk::Window first;
  oq::gtk::attach(first);
  oq::TorvelinOqManager::startWithConfig(oq::TorvelinOqConfig::defaultConfig());
  return RUN_ALL_TESTS();
}
