// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "ShopWindow.h"
#include "TorvelinSDK.h"

/// Shows the library's tools for the shop's developers: the floating ball above the shop, and a button for the
/// diagnostics panel. The log is mailed to `recipient`.
void showShopTools(ShopWindow& window, TorvelinSDK& analytics, const std::string& recipient);
