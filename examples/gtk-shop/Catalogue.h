#pragma once

#include <string>
#include <vector>

#include "ProductArt.h"

/// Something to buy.
struct Product {
  std::string id;
  std::string name;
  std::string line;
  int cents;
  Colour backdrop;
  Drawing draw;
};

const std::vector<Product>& catalogue();

/// "24.00", as events carry it; shown with a dollar sign before it.
std::string priceText(int cents);
