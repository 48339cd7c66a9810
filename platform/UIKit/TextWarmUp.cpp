#include "UIKit/TextWarmUp.h"

#include <cairo.h>
#include <unistd.h>

#include <condition_variable>
#include <mutex>
#include <new>

#include "Dispatch/DispatchQueue.h"
#include "UIKit/TextLayout.h"

namespace oq {

namespace {

void shapeFirstText() {
  // A font is loaded for the name that it is asked for by; these are the names that are.
  for (const UIFont& font : {UIFont::fontWithName("PingFangSC-Regular", 17), UIFont()}) {
    TextLayout layout({"Aa1 \u6d88\u606f\u3002", {8, NSTextAlignment::Justified}}, font, 100);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_A8, 100, 40);
    cairo_t* cr = cairo_create(surface);
    layout.draw(cr, UIColor::blackColor(), CGRectMake(0, 0, 100, 40), 1, false);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
  }
}

/// The text libraries free what they share among threads when the process ends, also under a thread that is at work
/// with it.
class WarmUp {
 public:
  void run() {
    {
      std::lock_guard lock(_mutex);
      if (_state != State::Waiting) return;
      _state = State::Running;
    }
    try {
      shapeFirstText();
    } catch (const std::bad_alloc&) {  // the first window has to wait for it
    }
    std::lock_guard lock(_mutex);
    _state = State::Over;
    _isOver.notify_all();
  }

  /// From then on nothing begins any more, and nothing runs.
  void end() {
    // In a forked process nobody would end what was under way.
    if (::getpid() != _process) return;
    std::unique_lock lock(_mutex);
    if (_state == State::Waiting) _state = State::Over;
    _isOver.wait(lock, [this] { return _state == State::Over; });
  }

 private:
  enum class State { Waiting, Running, Over };
  const pid_t _process = ::getpid();
  std::mutex _mutex;
  std::condition_variable _isOver;
  State _state = State::Waiting;
};

}  // namespace

void warmUpText() {
  static auto* const warmUp = new WarmUp;
  // The objects of the thread that ends the process go before anything that was registered for its end.
  struct EndOfThread {
    ~EndOfThread() { warmUp->end(); }
  };
  static thread_local const EndOfThread endOfThread;
  (void)endOfThread;
  DispatchQueue::background().async([] { warmUp->run(); });
}

}  // namespace oq
