// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "Model/OQWindowItemAttribute.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// A label that is styled from a campaign's text. Main thread only.
class OQLabel : public UILabel {
  OQ_CLASS(OQLabel)

 public:
  /// Stores the attribute (or nullptr) and applies its values; missing values change nothing.
  void setAttribute(std::shared_ptr<OQTextAttribute> attribute);
  const std::shared_ptr<OQTextAttribute>& attribute() const { return _attribute; }

 private:
  std::shared_ptr<OQTextAttribute> _attribute;
};

}  // namespace oq
