// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "ProductArt.h"

/// A product of the shop.
struct Product {
  std::string id;
  std::string name;
  std::string line;
  int cents;
  Color backdrop;
  Drawing draw;
};

const std::vector<Product>& catalogue();

/// A price such as "24.00", as events contain it. The shop displays it after a dollar sign.
std::string priceText(int cents);
