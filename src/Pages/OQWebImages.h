// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// An image of the web controller from the resource bundle: by asset name, in the density that fits the main screen
/// best; before system version 13, the file for exactly the screen's scale. nullptr if there is none.
std::shared_ptr<const UIImage> webControllerImage(const std::string& name);

}  // namespace oq
