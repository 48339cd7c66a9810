// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Model/OQWindowItemAttribute.h"

namespace oq {

/// A button of a window. Initially it has default colours and a default size, which the server's values replace. The
/// default size depends on the main screen's width when the object is created.
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
