#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// An image of the web controller's from the resource bundle: by its asset's name in the density that fits
/// the main screen best, or, before system version 13, the file of exactly the screen's scale. nullptr where
/// there is none.
std::shared_ptr<const UIImage> webControllerImage(const std::string& name);

}  // namespace oq
