// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "oqsdk/Export.h"
#include "oqsdk/KeyboardKey.h"
#include "oqsdk/headless/HeadlessPage.h"

namespace oq {

/// A host without a display. It has one offscreen window and an animation clock. The caller sends touches, moves the
/// clock, and can write the screen as a PNG. A process has at most one such host at a time. Threads: the thread that
/// constructs the host is the main thread; only this thread may call its functions.
///
/// Places and lengths are in points from the top left corner of the screen.
class OQSDK_EXPORT HeadlessHost {
 public:
  /// The screen, and the application that the library believes it runs in.
  struct Options {
    double width = 390;      ///< in points; 390 instead of a number that is not positive
    double height = 844;     ///< in points; 844 instead of a number that is not positive
    double scale = 1;        ///< pixels per point; 1 instead of a number that is not positive
    bool animations = true;  ///< false: animations end at once, as for a user who has turned them off
    /// If this has a value, messages are laid out on a stage, as in a GTK host whose window has the screen's size and
    /// whose `maximumScale` is this value. Otherwise they are laid out on the whole screen.
    std::optional<double> stage = std::nullopt;
    /// Names the data folder and is written into logs.
    std::string applicationIdentifier = "com.example.headless";
    /// Written into logs.
    std::string applicationVersion = "1.0";
    /// The folder for documents and preferences; if empty, the XDG data folder of the application.
    std::filesystem::path dataDirectory;
  };
  /// A pixel of the screen, not premultiplied.
  struct Pixel {
    std::uint8_t red;    ///< 0 to 255
    std::uint8_t green;  ///< 0 to 255
    std::uint8_t blue;   ///< 0 to 255

    /// The same colour.
    friend bool operator==(const Pixel& a, const Pixel& b) {
      return a.red == b.red && a.green == b.green && a.blue == b.blue;
    }
    /// Another colour.
    friend bool operator!=(const Pixel& a, const Pixel& b) { return !(a == b); }
  };

  /// The keys that the library handles.
  using Key = KeyboardKey;
  /// One part of the screen as assistive technology sees it.
  struct AccessibleElement {
    std::string role;  ///< "dialog", "heading", "text", "button", "link" or "image"
    std::string name;  ///< what is spoken; may be empty
    bool focused;      ///< whether it has the keyboard focus
    double x;          ///< the middle, in points from the left edge of the screen
    double y;          ///< the middle, in points from the top edge of the screen
  };

  /// Installs the host. Its window need not be attached: it can show messages from now on.
  explicit HeadlessHost(const Options& options);
  /// Installs the host with the default options.
  HeadlessHost() : HeadlessHost(Options{}) {}
  /// Closes the window and removes the host. Animations end, and their completions are called.
  ~HeadlessHost();
  HeadlessHost(const HeadlessHost&) = delete;
  HeadlessHost& operator=(const HeadlessHost&) = delete;

  /// Seconds on the animation clock. The clock starts at 0; only advance() and runUntil() with `animate` move it.
  double now() const;
  /// Moves the animation clock in frames of 1/60 s, and runs the main queue before and after each frame. A number that
  /// is negative or not finite only runs the main queue.
  void advance(double seconds);
  /// Runs what is waiting on the main queue. Returns when nothing is ready, without waiting for more, and after 1000
  /// rounds at the latest.
  void runMainQueue();
  /// Runs the main queue until the condition is true, and sleeps while there is nothing to do. Returns false if the
  /// condition is not true after `seconds` of real time. With `animate` the animation clock follows real time;
  /// otherwise the clock stands still.
  bool runUntil(const std::function<bool()>& condition, double seconds, bool animate = false);

  /// A finger goes down. True if a view of the library took the touch; false if the touch would have reached the host's
  /// own widgets. There is only one finger, so do not call this function while the finger is down.
  bool touchDown(double x, double y);
  /// The finger moves. Like touchUp() and touchCancel(), this has no effect if no view took the touch.
  void touchMove(double x, double y);
  /// The finger goes up.
  void touchUp(double x, double y);
  /// The system cancels the touch; it does not count as a tap.
  void touchCancel();
  /// A finger goes down and up at one place. Returns what touchDown() returns.
  bool tap(double x, double y);

  /// The pointer moves, with no button pressed. Returns whether a press at this place would do something, that is,
  /// whether the pointer is shown as a hand.
  bool movePointer(double x, double y);

  /// A wheel or a touchpad scrolls at a place, by points to the right and down. True if a view used the scrolling.
  bool scroll(double x, double y, double dx, double dy);
  /// Presses a key. True if the library consumed the key; while a dialog is on screen the library consumes all keys.
  bool pressKey(Key key);
  /// The accessible elements in reading order. While a dialog is on screen, only the dialog and its parts are returned.
  std::vector<AccessibleElement> accessibleElements();

  /// Changes the size of the screen. While a message or an alert is shown, the stage (if there is one) keeps its size
  /// and is only scaled and moved. Has no effect unless both numbers are positive.
  void setScreenSize(double width, double height);
  /// Changes the number of pixels per point. Has no effect unless the number is positive.
  void setScale(double scale);
  /// Sets whether the application is in the foreground. At first it is in the foreground. Messages that become due in
  /// the background appear when the application is in the foreground again.
  void setActive(bool active);

  /// The web pages that the library has open, oldest first. They are not painted, because there is no web engine: the
  /// caller simulates the engine by the functions of HeadlessPage.
  std::vector<std::shared_ptr<HeadlessPage>> pages() const;
  /// Makes every later opening of a page fail with this reason, as on a host that cannot show web pages; "" allows
  /// pages again. Open pages stay open.
  void refusePages(const std::string& reason);

  /// The colour of the screen at a place; white where nothing is painted and outside the screen.
  Pixel pixelAt(double x, double y);
  /// Writes the current screen as a PNG. False if the file cannot be written.
  bool writePng(const std::filesystem::path& file);

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq
