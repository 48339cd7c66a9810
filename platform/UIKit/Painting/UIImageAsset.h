// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "UIKit/Painting/UIImage.h"

namespace oq {

/// An image of a resource bundle that has one file per density, such as "NAME@2x.png". Chooses the file for the main
/// screen's scale, or else the densest one. nullptr if there is none. Main thread only.
std::shared_ptr<const UIImage> imageNamed(const std::string& name, const std::string& bundle);

}  // namespace oq
