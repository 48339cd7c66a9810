#pragma once

#include "UIKit/Windows/UIScreen.h"

namespace oq {

/// The lengths of a pop window, in points, from the main screen's bounds at the moment it is made. Margins
/// follow the height of the screen while widths, fonts and the close button follow its width; meant.
struct OQPopWindowMetrics {
  double widthUnit = UIScreen::mainScreen().bounds().size.width / 590.5;
  double heightUnit = UIScreen::mainScreen().bounds().size.height / 1274.5;

  double cardWidth() const { return widthUnit * 520; }
  double margin() const { return heightUnit * 22.5; }
  double buttonHeight() const { return heightUnit * 100.5; }
  double textWidth() const { return cardWidth() - 2 * margin(); }
  double closeButtonSide() const { return widthUnit * 40; }
  /// Of the card, whatever it is made of.
  double cornerRadius() const { return widthUnit * 16; }
  double titleFontSize() const { return widthUnit * 30; }
  double bodyFontSize() const { return widthUnit * 24; }
  /// The picture above a text.
  double pictureHeight() const { return cardWidth() * 0.65625; }
  /// A picture or page that is the whole card.
  double pageHeight() const { return cardWidth() * 1.5; }
  /// What title and body share: more where there is no picture.
  double textBudget(bool textOnly) const { return pageHeight() * (textOnly ? 1 : 0.5) - 2 * margin() - buttonHeight(); }
};

}  // namespace oq
