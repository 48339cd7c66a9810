// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Model/OQReferenceScreen.h"
#include "UIKit/Text/UIFont.h"

namespace oq {

/// The lengths of a message window, in points, computed from the main screen's bounds when this object is created.
/// Intentional: margins and the height of buttons depend on the screen's height, but cards, pictures, fonts, corners
/// and the close button on its width.
struct OQPopWindowMetrics {
  double widthUnit = OQReferenceScreen::widthUnit();
  double heightUnit = OQReferenceScreen::heightUnit();

  double cardWidth() const { return widthUnit * 520; }
  double margin() const { return heightUnit * 22.5; }
  double buttonHeight() const { return heightUnit * 100.5; }
  double textWidth() const { return cardWidth() - 2 * margin(); }
  double closeButtonSide() const { return widthUnit * 40; }
  /// The corner radius of every kind of card.
  double cornerRadius() const { return widthUnit * 16; }
  double titleFontSize() const { return widthUnit * 30; }
  double bodyFontSize() const { return widthUnit * 24; }
  /// The height of a picture above a text.
  double pictureHeight() const { return cardWidth() * 0.65625; }
  /// The height of a picture or page that fills the whole card.
  double pageHeight() const { return cardWidth() * 1.5; }
  /// The height that title and body share: more if there is no picture.
  double textBudget(bool textOnly) const { return pageHeight() * (textOnly ? 1 : 0.5) - 2 * margin() - buttonHeight(); }
};

/// The font of all message windows; size in points.
inline UIFont popWindowFont(double size) {
  return UIFont::fontWithName("PingFangSC-Regular", size);
}

}  // namespace oq
