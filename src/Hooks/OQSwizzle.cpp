// SPDX-License-Identifier: Apache-2.0
#include "Hooks/OQSwizzle.h"

#include <utility>

#include "Foundation/Values/Format.h"

namespace oq {

Class* OQSwizzle::staticClass() {
  static Class* registered = registerClass("OQSwizzle", Object::staticClass());
  return registered;
}

OQSwizzle::OQSwizzle(OQSwizzleBlock block, const std::string& name, Class* swizzledClass, SEL selector, IMP original,
                     const Class* originalClass, IMP first)
    : _class(swizzledClass),
      _selector(selector),
      _originalMethod(original),
      _originalClass(originalClass),
      _firstMethod(first) {
  setBlock(name, std::move(block));
}

bool OQSwizzle::canCallOriginal(const Object& receiver) const {
  return originalMethod() && receiver.isKindOfClass(_originalClass);
}

std::shared_ptr<const OQSwizzle::Blocks> OQSwizzle::setBlock(const std::string& name, OQSwizzleBlock block) {
  auto changed = std::make_shared<Blocks>(*blocks());
  changed->insert_or_assign(name, std::move(block));
  return _blocks.exchange(std::move(changed));
}

std::shared_ptr<const OQSwizzle::Blocks> OQSwizzle::removeBlock(const std::string& name) {
  auto changed = std::make_shared<Blocks>(*blocks());
  changed->erase(name);
  return _blocks.exchange(std::move(changed));
}

std::string OQSwizzle::description() const {
  std::string lines;
  const auto held = blocks();  // another thread may replace them
  for (const auto& [name, block] : *held) lines += stringWithFormat("\t%@ : %@\n", name, "<block>");
  return stringWithFormat("Swizzle on %@::%@ [\n%@]", class_getName(_class), sel_getName(_selector), lines);
}

}  // namespace oq
