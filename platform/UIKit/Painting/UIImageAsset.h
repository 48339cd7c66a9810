#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// An image of a resource bundle, which has a file for each density, "NAME@2x.png": the one of the main
/// screen's scale, else the densest. nullptr where there is none. Main thread only.
std::shared_ptr<const UIImage> imageNamed(const std::string& name, const std::string& bundle);

}  // namespace oq
