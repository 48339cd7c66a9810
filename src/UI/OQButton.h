// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "Model/OQWindowItemAttribute.h"
#include "UIKit/Views/UIButton.h"

namespace oq {

/// A button that is styled from a campaign's button. Main thread only.
class OQButton : public UIButton {
  OQ_CLASS(OQButton)

 public:
  OQButton() { setTitlePadding(12); }

  /// Stores the attribute (or nullptr) and applies its values to the normal state; missing values change nothing.
  void setAttribute(std::shared_ptr<OQButtonAttribute> attribute);
  const std::shared_ptr<OQButtonAttribute>& attribute() const { return _attribute; }
  /// The OQWindowAction that a tap reports.
  std::int64_t eventType() const { return _eventType; }
  void setEventType(std::int64_t type) { _eventType = type; }

 private:
  std::shared_ptr<OQButtonAttribute> _attribute;
  std::int64_t _eventType = 0;
};

}  // namespace oq
