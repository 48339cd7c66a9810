// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "Dispatch/DispatchQueue.h"
#include "Host/HostInstallation.h"
#include "UIKit/Windows/UIHost.h"
#include "oqsdk/Export.h"

namespace oq {

class HostSurface;

/// The part of a host that is the same for every toolkit: a clock, a timer for deadlines at which no frame is painted,
/// and the main screen, which is the stage of one of the surfaces. A host derives from this class and installs itself
/// with HostInstallation. Main thread only.
class OQSDK_EXPORT SurfaceHost : public UIHost {
 public:
  /// For a process in which prepareProcess() has been called already.
  SurfaceHost();
  /// Calls prepareProcess() with these arguments.
  SurfaceHost(const HostedApplication& application, MainLoop loop);
  ~SurfaceHost() override;
  SurfaceHost(const SurfaceHost&) = delete;
  SurfaceHost& operator=(const SurfaceHost&) = delete;

  /// The system's monotonic clock.
  double now() const override;
  void setNeedsFrame(UIWindow& window) override;
  void setDeadline(double deadline) override;
  void scenesChanged() override { updateScreen(); }

  /// For a host that runs its own loop: moves animations on, and runs what waits on the main queue, for about `budget`
  /// seconds. Call this function once for each pass of the loop, before painting. Call it again after the returned
  /// number of seconds, or earlier if `wake` is called (see setWake()). The number is 0 if blocks are left, the rest of
  /// a frame's length during an animation, and infinity if nothing is scheduled.
  double pump(double budget);
  /// `wake` is called, on any thread, each time there is work for a further pump(); see DispatchQueue::setMainWake().
  static void setWake(std::function<void()> wake);

  /// Whether the user wants animations. Without them, messages open and close at once.
  void setAnimationsEnabled(bool enabled);
  /// Sets the main screen to the stage where messages are shown: that of the first active scene, or else of the first
  /// scene. Call this function when a stage or the order or state of the scenes changes.
  void updateScreen();
  /// The surface that shows the window; nullptr if there is none.
  HostSurface* surfaceOf(const UIWindow& window) const;

 private:
  friend class HostSurface;
  /// Adds a surface whose scene is about to be connected.
  void add(HostSurface& surface);
  void remove(HostSurface& surface);
  HostSurface* screenSurface() const;
  void arm();
  void deadlineReached();
  void moveAnimations(double time);
  bool awaitFrame(double time);

  std::vector<HostSurface*> _surfaces;
  double _deadline = std::numeric_limits<double>::infinity();
  double _lastStep = 0;                      ///< when pump() last moved animations on or found none
  std::optional<double> _frameAwaitedSince;  ///< when a deadline was reached that still waits for a frame
  std::unique_ptr<DispatchTimer> _timer;
  std::shared_ptr<SurfaceHost*> _self;  ///< how the timer finds the host; emptied when the host is destroyed
};

}  // namespace oq
