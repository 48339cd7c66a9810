#pragma once

#include <memory>

#include "Model/OQTextAttribute.h"
#include "UIKit/Views/UILabel.h"

namespace oq {

/// A label that is styled from a campaign's text. Main thread only.
class OQLabel : public UILabel {
  OQ_CLASS(OQLabel)

 public:
  /// Keeps the attribute, nullptr included, and applies what it holds; what it lacks leaves the label as it
  /// is.
  void setAttribute(std::shared_ptr<OQTextAttribute> attribute);
  const std::shared_ptr<OQTextAttribute>& attribute() const { return _attribute; }

 private:
  std::shared_ptr<OQTextAttribute> _attribute;
};

}  // namespace oq
