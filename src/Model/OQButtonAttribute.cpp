// SPDX-License-Identifier: Apache-2.0
#include "Model/OQButtonAttribute.h"

#include "Foundation/Values/Number.h"
#include "Model/OQReferenceScreen.h"

namespace oq {

Class* OQButtonAttribute::staticClass() {
  static Class* registered = registerClass("OQButtonAttribute", OQWindowItemAttribute::staticClass());
  return registered;
}

OQButtonAttribute::OQButtonAttribute() {
  static const UIColor color = colorFromHexString("#444444"), background = colorFromHexString("#f4f4f4");
  setColor(color);
  setBackgroundColor(background);
  setSize(OQReferenceScreen::widthUnit() * 30.0);
}

void OQButtonAttribute::setModelWithDic(const JSONValue& dic) {
  if (!dic.is_object()) return;
  OQWindowItemAttribute::setModelWithDic(dic);
  _eventLink = valueForKey(dic, "clickEvent");
}

void OQButtonAttribute::encodeWithCoder(KeyedArchiver& coder) const {
  OQWindowItemAttribute::encodeWithCoder(coder);
  coder.encodeObject(_eventLink, "eventLink");
}

void OQButtonAttribute::initWithCoder(const KeyedUnarchiver& coder) {
  OQWindowItemAttribute::initWithCoder(coder);
  _eventLink = coder.decodeValue("eventLink");
}

}  // namespace oq
