// SPDX-License-Identifier: Apache-2.0

// GTK's frames while a message opens over a window of 1080 x 1920 pixels: the intervals between them, and their
// durations. Run it with bench/gtk.sh, which starts an X display.
#include <gtkmm.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "Measure.h"
#include "Message.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"
#include "oqsdk/gtk/GtkHost.h"

namespace {

using namespace oq;
using namespace oq::bench;

constexpr int kWidth = 1080, kHeight = 1920, kRounds = 20;
constexpr unsigned kPause = 300;  // milliseconds, until nothing moves any more

class Opening {
 public:
  explicit Opening(Gtk::Application& application) : _application(application) {
    _window.set_decorated(false);
    _window.set_default_size(kWidth, kHeight);
    auto* box = Gtk::make_managed<Gtk::Box>(Gtk::Orientation::VERTICAL);
    for (int i = 0; i < 40; ++i) box->append(*Gtk::make_managed<Gtk::Label>("A line of the host's page"));
    _window.set_child(*box);
    oq::gtk::attach(_window);
    application.add_window(_window);
    _window.signal_map().connect([this] {
      auto* clock = _window.get_frame_clock()->gobj();
      g_signal_connect(clock, "before-paint", G_CALLBACK(began), this);
      g_signal_connect(clock, "after-paint", G_CALLBACK(ended), this);
      next();
    });
    _window.present();
  }

 private:
  static void began(GdkFrameClock*, gpointer self) { static_cast<Opening*>(self)->_began = Clock::now(); }
  static void ended(GdkFrameClock* clock, gpointer self) {
    auto& opening = *static_cast<Opening*>(self);
    if (!opening._message || opening._message->isShowing()) return;
    const double time = static_cast<double>(gdk_frame_clock_get_frame_time(clock)) / 1e3;
    opening._frames.push_back(1e3 * secondsSince(opening._began));
    if (opening._last > 0) opening._intervals.push_back(time - opening._last);
    opening._last = time;
    ++opening._count;
  }

  void next() {
    Glib::signal_timeout().connect_once(
        [this] {
          if (_round++ == kRounds) return report();
          open();
        },
        kPause);
  }
  void open() {
    _last = 0;
    _message = makeMainObject<OQPopWindow>();
    _message->popWithData(message(), [this](std::int64_t code, const JSONValue&) {
      // Closed after a pause, so that frames of the opening are not mixed with those of the closing.
      if (code == 1) Glib::signal_timeout().connect_once([this] { close(); }, kPause);
    });
    _message->imgView()->setImage(_picture);
  }
  void close() {
    auto message = std::exchange(_message, nullptr);
    message->closeWithCompletion(nullptr);
    // The first round fills the caches and is not counted.
    if (_round == 1) {
      _frames.clear();
      _intervals.clear();
      _count = 0;
    }
    next();
  }
  void report() {
    note("gtk_opening_frames_each", static_cast<double>(_count) / (kRounds - 1), "frames in 0.2 s");
    note("gtk_opening_interval_p50", median(_intervals), "ms");
    note("gtk_opening_interval_p95", percentile(_intervals, 0.95), "ms");
    note("gtk_opening_interval_longest", percentile(_intervals, 1), "ms");
    note("gtk_opening_whole_frame_p50", median(_frames), "ms");
    note("gtk_opening_whole_frame_p95", percentile(_frames, 0.95), "ms");
    _application.quit();
  }

  Gtk::Application& _application;
  Gtk::Window _window;
  std::shared_ptr<const UIImage> _picture = picture();
  std::shared_ptr<OQPopWindow> _message;
  Clock::time_point _began;
  double _last = 0;
  int _round = 0, _count = 0;
  std::vector<double> _frames, _intervals;
};

}  // namespace

int main() {
  auto application = Gtk::Application::create("com.example.opening", Gio::Application::Flags::NON_UNIQUE);
  std::unique_ptr<Opening> opening;
  application->signal_activate().connect([&] { opening = std::make_unique<Opening>(*application); });
  return application->run();
}
