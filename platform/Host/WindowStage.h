// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "Host/Stage.h"
#include "oqsdk/Export.h"

namespace oq {

class Painter;
class UIWindow;

/// Keeps a UIWindow on the stage of a host's window. While a message or an alert is shown, the stage keeps its size,
/// and resizing the host's window changes only the stage's scale and position. While a page is shown, the stage keeps
/// its size only until resizing has ended. Otherwise the stage follows the window immediately. Main thread only.
class OQSDK_EXPORT WindowStage {
 public:
  /// `window` is the size of the host's window, empty while unknown. A `maximumScale` that is not a positive number is
  /// replaced by the default. With nullopt the UIWindow is not scaled and fills the host's window.
  WindowStage(CGSize window, std::optional<double> maximumScale);
  const Stage& stage() const { return _stage; }
  /// The pixels per point of the UIWindow for which pictures are prepared. `pixelsPerPoint` is that of the host's
  /// window.
  double contentScale(double pixelsPerPoint) const {
    return _maximumScale ? _stage.contentScale(pixelsPerPoint) : pixelsPerPoint;
  }
  /// The window to keep on the stage; nullptr when it closes.
  void setWindow(std::shared_ptr<UIWindow> window);
  const CGSize& windowSize() const { return _size; }
  /// False until the host's window has had a size.
  bool isPlaced() const { return !CGRect{{}, _size}.isEmpty(); }

  /// To be called when the host's window has a new size. True if the stage has changed.
  bool resize(CGSize window);
  /// True if the stage has kept its size although the window's size requires another one.
  bool isOutdated() const;
  /// Gives an outdated stage its required size, unless a message or an alert is shown. True if the stage has changed.
  /// To be called when resizing has ended, and when a message, an alert or a page has been removed.
  bool update();

  /// Paints the window and the area outside the stage. The painter's origin is the corner of the host's window; its
  /// units are stage points.
  void paint(Painter& painter, double now) const;

 private:
  CGSize wantedSize() const;
  Stage placed(CGSize size) const;
  bool set(CGSize size);

  CGSize _size;  ///< of the host's window
  std::optional<double> _maximumScale;
  Stage _stage;
  std::shared_ptr<UIWindow> _window;
};

}  // namespace oq
