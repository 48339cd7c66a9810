// SPDX-License-Identifier: Apache-2.0
#include "UI/OQButton.h"

#include <utility>

#include "Foundation/Values/Format.h"
#include "UI/OQPopWindowMetrics.h"

namespace oq {

Class* OQButton::staticClass() {
  static Class* registered = registerClass("OQButton", UIButton::staticClass());
  return registered;
}

void OQButton::setAttribute(std::shared_ptr<OQButtonAttribute> attribute) {
  _attribute = std::move(attribute);
  if (!_attribute) return;
  if (!_attribute->text().is_null()) setTitle(descriptionOf(_attribute->text()), UIControlStateNormal);
  if (_attribute->color()) setTitleColor(*_attribute->color(), UIControlStateNormal);
  if (_attribute->backgroundColor()) setBackgroundColor(*_attribute->backgroundColor());
  if (_attribute->size() > 0) titleLabel().setFont(popWindowFont(_attribute->size()));
}

}  // namespace oq
