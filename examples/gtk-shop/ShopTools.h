#pragma once

#include <string>

#include "ShopWindow.h"
#include "TorvelinSDK.h"

/// Floats the library's ball of tools above the shop, and adds a button for its diagnostics: what a developer
/// of the shop works with. The recipient gets the log.
void showShopTools(ShopWindow& window, TorvelinSDK& analytics, const std::string& recipient);
