// SPDX-License-Identifier: Apache-2.0
#include "Catalogue.h"

#include <iomanip>
#include <sstream>

const std::vector<Product>& catalogue() {
  static const std::vector<Product> products = {
      {"mug", "Stoneware mug", "Thrown by hand, 35 cl", 2400, {0.91, 0.87, 0.79}, drawMug},
      {"lamp", "Evening lamp", "Brass and linen", 8900, {0.84, 0.88, 0.85}, drawLamp},
      {"vase", "Clay vase", "For three good branches", 4600, {0.95, 0.86, 0.80}, drawVase},
      {"clock", "Quiet clock", "Sweeps, never ticks", 5200, {0.85, 0.87, 0.91}, drawClock},
      {"candle", "Pine candle", "Forty slow hours", 1800, {0.90, 0.90, 0.82}, drawCandle},
      {"books", "Reader's box", "Four novels a season", 6400, {0.92, 0.84, 0.84}, drawBooks},
      {"stool", "Oak stool", "Stands on any floor", 11900, {0.88, 0.90, 0.86}, drawStool},
      {"bowl", "Harvest bowl", "Ash glaze, 28 cm", 3800, {0.93, 0.90, 0.83}, drawBowl},
  };
  return products;
}

std::string priceText(int cents) {
  std::ostringstream text;
  text << cents / 100 << '.' << std::setw(2) << std::setfill('0') << cents % 100;
  return text.str();
}
