// SPDX-License-Identifier: Apache-2.0
#include "Pages/OQWebImages.h"

#include "Foundation/Files/Bundle.h"
#include "Foundation/System/Device.h"
#include "Foundation/Values/Format.h"
#include "UIKit/Painting/UIImageAsset.h"
#include "UIKit/Windows/UIScreen.h"

namespace oq {

std::shared_ptr<const UIImage> webControllerImage(const std::string& name) {
  if (platformSystemVersion() >= 13.0) return imageNamed(name, "OQSDK");
  const int scale = static_cast<int>(UIScreen::mainScreen().scale());
  const auto file = pathForResource("OQSDK", stringWithFormat("%@@%@x.png", name, scale));
  return file ? UIImage::imageWithContentsOfFile(*file) : nullptr;
}

}  // namespace oq
