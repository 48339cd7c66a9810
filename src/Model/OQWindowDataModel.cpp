// SPDX-License-Identifier: Apache-2.0
#include "Model/OQWindowDataModel.h"

namespace oq {

Class* OQWindowDataModel::staticClass() {
  static Class* registered = registerClass("OQWindowDataModel", Object::staticClass());
  return registered;
}

void OQWindowDataModel::setModelWithDic(const JSONValue&) {}

void OQWindowDataModel::encodeWithCoder(KeyedArchiver&) const {}

void OQWindowDataModel::initWithCoder(const KeyedUnarchiver&) {}

std::string OQWindowDataModel::archivedClassName() const {
  return class_getName(class_());
}

std::vector<std::string> OQWindowDataModel::archivedSuperclassNames() const {
  std::vector<std::string> names;
  const Class* ancestor = class_getSuperclass(class_());
  for (; ancestor && ancestor != Object::staticClass(); ancestor = class_getSuperclass(ancestor)) {
    names.push_back(class_getName(ancestor));
  }
  names.push_back("NSObject");
  return names;
}

}  // namespace oq
