// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "Message.h"
#include "UI/OQPopWindow.h"
#include "UIKit/Windows/MainObject.h"

namespace oq::bench {

/// What each host's program does, so that hosts can be compared: nothing for a while, then a message opens, stays on
/// screen, and is closed. Prints the process's processor time of each part, on all threads, in milliseconds.
///
/// The mode is the program's argument. "link" ends the program at once, and "start" as soon as the window is ready.
/// "plain" is the same program without the library. "idle", with the library, does nothing; "message" shows messages.
class Scenario {
 public:
  static constexpr int width = 1080, height = 1920;
  using After = std::function<void(double seconds, std::function<void()> block)>;

  Scenario(int argc, char** argv) : _mode(argc > 1 ? argv[1] : "message") {}

  bool isLinkOnly() const { return _mode == "link"; }
  bool isPlain() const { return _mode == "plain" || _mode == "plain-start"; }
  /// To be called once when the window is on screen. `after` calls a block later on the main thread; `end` ends the
  /// program's loop.
  void begin(After after, std::function<void()> end) {
    _after = std::move(after);
    _end = std::move(end);
    if (_mode == "start" || _mode == "plain-start") return _end();
    if (_mode == "message") _picture = picture();
    _after(kPause, [this] { _mode == "message" ? open() : idle("idle", _end); });
  }

 private:
  static constexpr double kPause = 1, kLength = 3;  // seconds
  static constexpr int kRounds = 6;                 ///< the first fills the caches and is not counted

  static double processorTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return 1e3 * static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_nsec);
  }
  void idle(const char* name, std::function<void()> next) {
    const double start = processorTime();
    _after(kLength, [=] {
      std::printf("%s %.3f\n", name, processorTime() - start);
      next();
    });
  }
  void open() {
    const double start = processorTime();
    _message = makeMainObject<OQPopWindow>();
    _message->popWithData(message(), [this, start](std::int64_t code, const JSONValue&) {
      if (code != 1) return;
      // The last frame of the animation is painted after this call.
      _after(0.1, [this, start] {
        if (_round > 0) std::printf("opening %.3f\n", processorTime() - start);
        _after(kPause, [this] { _round + 1 < kRounds ? close() : idle("static", _end); });
      });
    });
    _message->imgView()->setImage(_picture);
  }
  void close() {
    ++_round;
    std::exchange(_message, nullptr)->closeWithCompletion(nullptr);
    _after(kPause, [this] { open(); });
  }

  std::string _mode;
  After _after;
  std::function<void()> _end;
  std::shared_ptr<const UIImage> _picture;
  std::shared_ptr<OQPopWindow> _message;
  int _round = 0;
};

}  // namespace oq::bench
