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
#include "oqsdk/headless/HeadlessPage.h"

namespace oq {

/// A host without a display: one offscreen window, synthetic touches, a clock in the caller's hand, the screen as a
/// PNG. One at a time; the thread that makes it is the main thread.
class OQSDK_EXPORT HeadlessHost {
 public:
  /// The screen, and what the library is told of the application that it is in.
  struct Options {
    double width = 390;      ///< points
    double height = 844;     ///< points
    double scale = 1;        ///< pixels per point
    bool animations = true;  ///< false: as on a desktop whose user wants none; what moves is at its end at once
    /// Messages are laid out on the stage that a window of this size has in a GTK host, with this maximumScale; without
    /// it the screen itself is what they are laid out on.
    std::optional<double> stage = std::nullopt;
    /// Names the data folder and is written into logs.
    std::string applicationIdentifier = "com.example.headless";
    /// Written into logs.
    std::string applicationVersion = "1.0";
    /// Where documents and preferences live; empty: the XDG data folder of the application.
    std::filesystem::path dataDirectory;
  };
  /// A pixel of the screen, not premultiplied.
  struct Pixel {
    std::uint8_t red;    ///< 0 to 255
    std::uint8_t green;  ///< 0 to 255
    std::uint8_t blue;   ///< 0 to 255
    /// All three the same.
    bool operator==(const Pixel&) const = default;
  };

  /// The keys that the library knows.
  enum class Key { Tab, BackTab, Return, Escape, Up, Down, PageUp, PageDown, Home, End };
  /// What assistive technology is told of one part of the screen.
  struct AccessibleElement {
    std::string role;  ///< "dialog", "heading", "text", "button", "link", "image"
    std::string name;  ///< what is spoken; may be empty
    bool focused;      ///< the keyboard is there
    double x;          ///< points from the left edge, of its middle
    double y;          ///< points from the upper edge, of its middle
  };

  /// Installs the host; the calling thread becomes the main thread.
  explicit HeadlessHost(const Options& options);
  /// A screen of 390 by 844 points.
  HeadlessHost() : HeadlessHost(Options{}) {}
  ~HeadlessHost();
  HeadlessHost(const HeadlessHost&) = delete;
  HeadlessHost& operator=(const HeadlessHost&) = delete;

  /// Seconds on the animation clock. It starts at 0 and moves only with advance() and a runUntil() that animates.
  double now() const;
  /// Moves the animation clock in frames of 1/60 s, runs what becomes due on the main queue between them.
  void advance(double seconds);
  /// Runs what is waiting on the main queue, without waiting for more.
  void runMainQueue();
  /// Runs the main queue until the condition holds, sleeping while there is nothing to do; false when `seconds` of
  /// real time have passed first. The animation clock does not move unless `animate` is set: then it follows real time.
  bool runUntil(const std::function<bool()>& condition, double seconds, bool animate = false);

  /// Touches, in points from the top left corner. True when a view of the library took it; false when it would have
  /// reached the host's own widgets.
  bool touchDown(double x, double y);
  /// The touch that is down moves to another place.
  void touchMove(double x, double y);
  /// The touch that is down ends there.
  void touchUp(double x, double y);
  /// The touch that is down ends without having been one.
  void touchCancel();
  /// Down and up in one place; true as with touchDown().
  bool tap(double x, double y);

  /// The pointer goes to a place, without a button held down. True where a press would do something: the cursor is a
  /// hand there.
  bool movePointer(double x, double y);

  /// A wheel or a touchpad over a place, in points to the right and down; true when a view used it.
  bool scroll(double x, double y, double dx, double dy);
  /// True when the key is the library's: while a dialog is on screen every one of these is.
  bool pressKey(Key key);
  /// In the order in which they are read; while a dialog is on screen that comes first, with only its own parts after
  /// it.
  std::vector<AccessibleElement> accessibleElements();

  /// Another size of the screen, from now on. While a message or an alert is shown a stage keeps its size, and is only
  /// scaled and moved.
  void setScreenSize(double width, double height);
  /// Another number of pixels a point.
  void setScale(double scale);
  /// Whether the application is in the foreground. While it is not, messages wait to be shown.
  void setActive(bool active);

  /// The web pages that the library has open, oldest first. They are not painted: there is no engine to do it, and the
  /// caller plays its part.
  std::vector<std::shared_ptr<HeadlessPage>> pages() const;
  /// Plays a host that cannot show web pages, for this reason, from now on; "" ends that. Pages that are open stay.
  void refusePages(const std::string& reason);

  Pixel pixelAt(double x, double y);  ///< What is painted at a place, in points; white outside the screen.
  /// The screen as it is now. False when the file cannot be written.
  bool writePng(const std::filesystem::path& file);

 private:
  class Impl;
  std::unique_ptr<Impl> _impl;
};

}  // namespace oq
