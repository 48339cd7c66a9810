// SPDX-License-Identifier: Apache-2.0
#include "UI/OQLabel.h"

#include <utility>

#include "Foundation/Values/Format.h"
#include "UI/OQPopWindowMetrics.h"

namespace oq {

Class* OQLabel::staticClass() {
  static Class* registered = registerClass("OQLabel", UILabel::staticClass());
  return registered;
}

void OQLabel::setAttribute(std::shared_ptr<OQTextAttribute> attribute) {
  _attribute = std::move(attribute);
  if (!_attribute) return;
  if (!_attribute->text().is_null()) setText(descriptionOf(_attribute->text()));
  if (_attribute->color()) setTextColor(*_attribute->color());
  if (_attribute->backgroundColor()) setBackgroundColor(*_attribute->backgroundColor());
  if (_attribute->size() > 0) setFont(popWindowFont(_attribute->size()));
}

}  // namespace oq
