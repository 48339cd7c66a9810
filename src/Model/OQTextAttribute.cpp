// SPDX-License-Identifier: Apache-2.0
#include "Model/OQTextAttribute.h"

namespace oq {

Class* OQTextAttribute::staticClass() {
  static Class* registered = registerClass("OQTextAttribute", OQWindowItemAttribute::staticClass());
  return registered;
}

}  // namespace oq
