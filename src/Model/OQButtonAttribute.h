#pragma once

#include "Model/OQWindowItemAttribute.h"

namespace oq {

/// A button of a window. Begins with colours and a size of its own, which the server's values replace; the
/// size follows the width of the main screen at the moment the object is made.
class OQButtonAttribute : public OQWindowItemAttribute {
  OQ_CLASS(OQButtonAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQButtonAttribute";

  OQButtonAttribute();

  /// The action or link of the button.
  const JSONValue& eventLink() const { return _eventLink; }
  void setEventLink(const JSONValue& link) { _eventLink = link; }

  void setModelWithDic(const JSONValue& dic) override;
  void encodeWithCoder(KeyedArchiver& coder) const override;
  void initWithCoder(const KeyedUnarchiver& coder) override;

 private:
  JSONValue _eventLink;
};

}  // namespace oq
