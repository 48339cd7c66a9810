// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// Returns an image of the web controller from the resource bundle, by its asset name, in the density that fits the
/// main screen best. Before system version 13 it is the file for exactly the screen's scale. nullptr if there is none.
std::shared_ptr<const UIImage> webControllerImage(const std::string& name);

}  // namespace oq
