// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// Returns an image of the web controller from the resource bundle, by its asset name, in the density that fits the
/// main screen best. If platformSystemVersion() is less than 13, only the file for exactly the scale of the main screen
/// is used. nullptr if there is no such image.
std::shared_ptr<const UIImage> webControllerImage(const std::string& name);

}  // namespace oq
