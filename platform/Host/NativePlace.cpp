// SPDX-License-Identifier: Apache-2.0
#include "Host/NativePlace.h"

#include <cmath>

#include "UIKit/Views/UIView.h"
#include "UIKit/Windows/Accessibility.h"

namespace oq {

namespace {

CGRect boundsInHost(const UIView& view, const Stage& stage) {
  const CGSize size = view.bounds().size;
  return {stage.toWindow(view.convertPointToWindow(view.bounds().origin)),
          {size.width * stage.scale, size.height * stage.scale}};
}

}  // namespace

bool isShownInWindow(const UIView& view) {
  if (!isShown(view)) return false;
  const auto above = view.superview();
  return !above || isShownInWindow(*above);
}

std::optional<NativePlace> nativePlaceOf(const UIView& view, const Stage& stage) {
  const CGRect exact = boundsInHost(view, stage);
  const auto whole = [](double length) { return static_cast<double>(std::lround(length)); };
  const CGRect frame{{whole(exact.minX()), whole(exact.minY())}, {whole(exact.size.width), whole(exact.size.height)}};
  if (frame.isEmpty() || !isShownInWindow(view)) return std::nullopt;
  // The stage clips everything.
  CGRect clip = frame.intersection({stage.origin, {stage.size.width * stage.scale, stage.size.height * stage.scale}});
  for (auto above = view.superview(); above; above = above->superview()) {
    if (above->clipsToBounds()) clip = clip.intersection(boundsInHost(*above, stage));
  }
  return NativePlace{frame, clip, stage.scale};
}

}  // namespace oq
