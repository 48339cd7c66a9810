// SPDX-License-Identifier: Apache-2.0

// The processor time of GTK's main thread for the first web page of a process: for preloading the web engine, and for
// the page itself, from the call that opens it until nothing moves any more. A turn is the main loop's work between two
// polls. Run this program with bench/gtk.sh, which starts an X display. With the argument "cold", nothing is preloaded.
#include <gtkmm.h>
#include <httplib.h>
#include <unistd.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

#include "Engine/OQSDKManager.h"
#include "Measure.h"
#include "Pages/OQNavigation.h"
#include "Pages/OQWebController.h"
#include "UIKit/Controllers/UINavigationController.h"
#include "WebKit/WebEngineRegistry.h"
#include "oqsdk/gtk/GtkHost.h"
#include "support/TestCertificates.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr double kFrame = 16.7;                   // milliseconds
constexpr unsigned kSettled = 2500;               // milliseconds after which all work is finished
constexpr double kLongestTurn = 1.2, kWhole = 3;  // goals, in frames

double mainThreadMilliseconds() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Resident memory of this process in megabytes, including shared pages.
double residentMegabytes() {
  std::ifstream file("/proc/self/statm");
  double whole = 0, resident = 0;
  file >> whole >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

/// Measures the turns of the main loop in its poll function.
class Turns {
 public:
  static void watch() { g_main_context_set_poll_func(nullptr, poll); }
  static void reset() { _whole = _longest = 0; }
  static double whole() { return _whole; }
  static double longest() { return _longest; }

 private:
  static gint poll(GPollFD* descriptors, guint count, gint timeout) {
    const double turn = mainThreadMilliseconds() - _began;
    _whole += turn;
    _longest = std::max(_longest, turn);
    const gint ready = g_poll(descriptors, count, timeout);
    _began = mainThreadMilliseconds();
    return ready;
  }
  static inline double _began = mainThreadMilliseconds(), _whole = 0, _longest = 0;
};

/// An HTTPS server with the page that messages of style 4 show.
class Server {
 public:
  Server()
      : _identity(test::TestAuthority::trusted().issue("DNS:localhost")),
        _server(_identity.certificate.get(), _identity.key.get()) {
    test::TestAuthority::trusted().trust();
    std::ifstream file(OQSDK_BENCH_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    require(!page.empty(), "the page is missing");
    _server.Get("/page", [page](const httplib::Request&, httplib::Response& response) {
      response.set_content(page, "text/html; charset=utf-8");
    });
    _port = _server.bind_to_any_port("127.0.0.1");
    _thread = std::thread([this] { _server.listen_after_bind(); });
  }
  ~Server() {
    _server.stop();
    _thread.join();
  }
  std::string url() const { return "https://localhost:" + std::to_string(_port) + "/page"; }

 private:
  test::Identity _identity;
  httplib::SSLServer _server;
  int _port = 0;
  std::thread _thread;
};

class FirstPage {
 public:
  FirstPage(Gtk::Application& application, bool isCold) : _application(application), _isCold(isCold) {
    _window.set_default_size(540, 960);
    oq::gtk::AttachOptions options;
    options.dataDirectory = _folder.path();
    oq::gtk::attach(_window, options);
    application.add_window(_window);
    _window.present();
    Turns::watch();
    // First pushes a page without a web view: report() subtracts the cost of this animation.
    later([] {
      const auto plain = makeMainObject<UIViewController>();
      plain->view()->setBackgroundColor(UIColor::whiteColor());
      push(plain);
    });
    later([this] {
      _plain = measured("gtk_plain_page");
      OQNavigation::currentNavigation()->popViewControllerAnimated(true);
    });
    later([this] {
      _memory = residentMegabytes();
      Turns::reset();
      if (!_isCold) prepareWebEngine();
    });
    later([this] {
      _preload = measured("gtk_web_preload");
      note("gtk_web_preload_memory", residentMegabytes() - _memory, "MB");
      push(_page);
    });
    later([this] { report(); });
    next();
  }

 private:
  struct Cost {
    double whole, longest;
  };
  static Cost measured(const std::string& name) {
    note(name + "_longest_turn", Turns::longest(), "ms");
    note(name + "_whole", Turns::whole(), "ms");
    return {Turns::whole(), Turns::longest()};
  }

  void later(std::function<void()> step) { _steps.push_back(std::move(step)); }
  void next() {
    Glib::signal_timeout().connect_once(
        [this] {
          const auto step = _steps.at(_step++);
          step();
          if (_step < _steps.size()) next();
        },
        kSettled);
  }
  static void push(std::shared_ptr<UIViewController> page) {
    Turns::reset();
    OQNavigation::currentNavigation()->pushViewController(std::move(page), true);
  }

  void report() {
    const Cost page = measured("gtk_web_page");
    require(_page->navigationItem()->title().has_value(), "the page did not load");
    const double longest = std::max(page.longest, _preload.longest), whole = page.whole - _plain.whole;
    if (_isCold) {
      note("gtk_first_web_page_longest_turn", longest / kFrame, "frames");
      note("gtk_first_web_page_whole", whole / kFrame, "frames");
    } else {
      atMost("gtk_first_web_page_longest_turn", longest / kFrame, kLongestTurn);
      atMost("gtk_first_web_page_whole", whole / kFrame, kWhole);
    }
    _application.quit();
  }

  ScratchFolder _folder;
  Server _server;
  Gtk::Application& _application;
  const bool _isCold;
  Gtk::Window _window;
  std::shared_ptr<OQWebController> _page = makeMainObject<OQWebController>(_server.url());
  std::vector<std::function<void()>> _steps;
  std::size_t _step = 0;
  Cost _plain{}, _preload{};
  double _memory = 0;
};

}  // namespace

int main(int count, char** arguments) {
  auto application = Gtk::Application::create("com.example.firstpage", Gio::Application::Flags::NON_UNIQUE);
  std::unique_ptr<FirstPage> page;
  const bool isCold = count > 1 && std::strcmp(arguments[1], "cold") == 0;
  application->signal_activate().connect([&] { page = std::make_unique<FirstPage>(*application, isCold); });
  const int result = application->run();
  page.reset();
  return result;
}
