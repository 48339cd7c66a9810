// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "Foundation/Files/FileDescriptor.h"
#include "Host/HostInstallation.h"
#include "Host/HostSurface.h"
#include "Host/SurfaceHost.h"

// docs/hosts.md quotes the class below, so change both together.

namespace oq::test {

/// A host with a poll loop and pixels in memory, like that of a game or a kiosk. It sleeps while nothing changes.
class PollHost : public SurfaceHost, public HostSurface::Client {
 public:
  PollHost(CGSize size, double pixelsPerPoint)
      : SurfaceHost({"com.example.poll", "1.0", {}}, MainLoop::OfHost),
        _surface(*this, *this, size, pixelsPerPoint, 1.5) {
    setWake([this] { ::eventfd_write(_wake.get(), 1); });
    _surface.connect();
    _surface.setVisible(true);
  }
  ~PollHost() override {
    setWake(nullptr);
    _surface.disconnect();
    DispatchQueue::drainMain();
  }
  HostSurface& surface() { return _surface; }

  /// One pass of the loop. Sleeps for at most `longest` seconds. Returns whether a wake has ended the sleep.
  bool runOnce(double longest) {
    const double idle = std::min(longest, pump(0.004));
    if (isFrameDue()) paint();
    pollfd wake{_wake.get(), POLLIN, 0};
    // A host also polls its input here, and passes it on to the surface.
    if (::poll(&wake, 1, milliseconds(idle)) <= 0) return false;
    eventfd_t count;
    return ::eventfd_read(_wake.get(), &count) == 0;
  }

 protected:
  void frameWanted() override { _isFrameWanted = true; }
  /// A display draws the buffer only while the layer is shown.
  void viewsChanged() override { _isShown = !_surface.isEmpty(); }
  /// Copies the damaged part to the display.
  virtual void show(const PixelBuffer& /*buffer*/, const PaintedFrame& /*frame*/, double /*time*/) {}
  bool isFrameDue() const { return _isFrameWanted && _isShown; }

 private:
  void paint() {
    _isFrameWanted = false;
    const PixelRect size = _surface.pixelSize();
    _pixels.resize(static_cast<std::size_t>(size.width) * size.height);
    const bool isKept = _buffer.width == size.width && _buffer.height == size.height;
    _buffer = {_pixels.data(), size.width, size.height, size.width * 4, isKept};
    const double time = now();
    const PaintedFrame frame = _surface.paint(_buffer, time);
    if (!frame.damage.isEmpty()) show(_buffer, frame, time);
  }

  /// The timeout for poll() in milliseconds; -1 to wait without a limit.
  static int milliseconds(double seconds) {
    return std::isfinite(seconds) ? static_cast<int>(std::ceil(std::clamp(seconds, 0.0, 1e6) * 1000)) : -1;
  }

  const FileDescriptor _wake{::eventfd(0, EFD_CLOEXEC)};
  std::vector<std::uint32_t> _pixels;
  PixelBuffer _buffer;
  bool _isFrameWanted = false, _isShown = false;
  const HostInstallation _installation{*this, nullptr};
  HostSurface _surface;
};

}  // namespace oq::test
