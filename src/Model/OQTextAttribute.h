// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Model/OQWindowItemAttribute.h"

namespace oq {

/// The title or body text of a window. Has no default colours.
class OQTextAttribute : public OQWindowItemAttribute {
  OQ_CLASS(OQTextAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQTextAttribute";
};

}  // namespace oq
