#pragma once

#include "Model/OQWindowItemAttribute.h"

namespace oq {

/// The title or the body text of a window. Without colours of its own unless the server names them.
class OQTextAttribute : public OQWindowItemAttribute {
  OQ_CLASS(OQTextAttribute)

 public:
  static constexpr const char* ArchivedClassName = "OQTextAttribute";
};

}  // namespace oq
