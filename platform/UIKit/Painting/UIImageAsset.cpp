// SPDX-License-Identifier: Apache-2.0
#include "UIKit/Painting/UIImageAsset.h"

#include <cmath>

#include "Foundation/Files/Bundle.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

std::shared_ptr<const UIImage> imageNamed(const std::string& name, const std::string& bundle) {
  const int wanted = static_cast<int>(std::ceil(UIScreen::mainScreen().scale()));
  for (const int density : {wanted, 3, 2, 1}) {
    const auto file = pathForResource(bundle, name + "@" + std::to_string(density) + "x.png");
    if (file) return UIImage::imageWithContentsOfFile(*file);
  }
  return nullptr;
}

}  // namespace oq
