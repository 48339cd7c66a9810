// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "CoreGraphics/Color.h"
#include "Model/OQWindowDataModel.h"

namespace oq {

/// The colour that a string "#RRGGBB" describes, always opaque; black if the string cannot be parsed. A value of
/// another type is first converted to a string.
UIColor colorFromHexString(const JSONValue& text);

/// The appearance of one text or button of a window. Threads and failure: as for OQWindowDataModel.
class OQWindowItemAttribute : public OQWindowDataModel {
  OQ_CLASS(OQWindowItemAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQWindowItemAttribute";

  const JSONValue& text() const { return _text; }
  void setText(const JSONValue& text) { _text = text; }
  const std::optional<UIColor>& color() const { return _color; }
  void setColor(std::optional<UIColor> color) { _color = color; }
  const std::optional<UIColor>& backgroundColor() const { return _backgroundColor; }
  void setBackgroundColor(std::optional<UIColor> color) { _backgroundColor = color; }
  /// The font's size in points. Archived in single precision; this is intentional.
  double size() const { return _size; }
  void setSize(double size) { _size = size; }

  void setModelWithDic(const JSONValue& dic) override;
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder) override;

 private:
  JSONValue _text;
  std::optional<UIColor> _color;
  std::optional<UIColor> _backgroundColor;
  double _size = 0;
};

/// The title or body text of a window. Has no default colours.
class OQTextAttribute : public OQWindowItemAttribute {
  OQ_CLASS(OQTextAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQTextAttribute";
};

/// A button of a window. Initially it has default colours and a default size, which the server's values replace. The
/// default size depends on the main screen's width when the object is created.
class OQButtonAttribute : public OQWindowItemAttribute {
  OQ_CLASS(OQButtonAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQButtonAttribute";

  OQButtonAttribute();

  /// The link that a click on the button opens.
  const JSONValue& eventLink() const { return _eventLink; }
  void setEventLink(const JSONValue& link) { _eventLink = link; }

  void setModelWithDic(const JSONValue& dic) override;
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder) override;

 private:
  JSONValue _eventLink;
};

}  // namespace oq
