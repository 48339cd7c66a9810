// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowItemAttribute.h"

#include <cstdlib>

#include "Foundation/Values/Format.h"
#include "Foundation/Values/Number.h"
#include "Foundation/Values/Text.h"
#include "Model/OQReferenceScreen.h"

namespace oq {

Class* OQWindowItemAttribute::staticClass() {
  static Class* registered = registerClass("OQWindowItemAttribute", OQWindowDataModel::staticClass());
  return registered;
}

UIColor colorFromHexString(const JSONValue& text) {
  std::string digits = replacingAll(descriptionOf(text), "#", "0x");
  // Six digits are expected. Of eight digits, the first two are ignored.
  unsigned long rgb = std::strtoul(digits.c_str(), nullptr, 16);
  auto component = [rgb](int shift) { return static_cast<double>((rgb >> shift) & 0xff) / 255.0; };
  return UIColor::colorWithRed(component(16), component(8), component(0), 1.0);
}

void OQWindowItemAttribute::setModelWithDic(const JSONValue& dic) {
  if (!dic.is_object()) return;
  _text = valueForKey(dic, "text");
  const JSONValue& color = valueForKey(dic, "color");
  if (!color.is_null()) _color = colorFromHexString(color);
  const JSONValue& background = valueForKey(dic, "background");
  if (!background.is_null()) _backgroundColor = colorFromHexString(background);
  const JSONValue& size = valueForKey(dic, "size");
  if (size.is_null()) return;
  // Sizes are sent in half points.
  _size = doubleValue(JSONValue(replacingAll(descriptionOf(size), "pd", ""))) * 0.5;
}

void OQWindowItemAttribute::encodeWithCoder(KeyedArchiver& coder) const {
  OQWindowDataModel::encodeWithCoder(coder);
  coder.encodeObject(_text, "text");
  coder.encodeObject(_color, "color");
  // The server uses the key "background"; the archive uses another one.
  coder.encodeObject(_backgroundColor, "backgroundColor");
  // Stored as a double but archived in single precision; this is intentional.
  coder.encodeFloat(static_cast<float>(_size), "size");
}

void OQWindowItemAttribute::initWithCoder(const KeyedUnarchiver& coder) {
  OQWindowDataModel::initWithCoder(coder);
  _text = coder.decodeValue("text");
  _color = coder.decodeColor("color");
  _backgroundColor = coder.decodeColor("backgroundColor");
  _size = coder.decodeFloat("size");
}

Class* OQTextAttribute::staticClass() {
  static Class* registered = registerClass("OQTextAttribute", OQWindowItemAttribute::staticClass());
  return registered;
}

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
