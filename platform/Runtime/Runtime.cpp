// SPDX-License-Identifier: Apache-2.0
#include "oqsdk/Runtime.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

#include "Runtime/Hook.h"
#include "oqsdk/Exception.h"

namespace oq {

struct SelectorName {
  explicit SelectorName(std::string name) : text(std::move(name)) {}
  std::string text;
};

struct Method {
  Method(SEL of, const char* encoding, IMP made)
      : selector(of), typeEncoding(encoding), first(made), implementation(made) {}

  SEL selector;
  const char* typeEncoding;  ///< nullptr if not known: the caller that added the method guarantees the type
  const IMP first;
  std::atomic<IMP> implementation;
  std::atomic<IMP> entry{nullptr};
  Method* next = nullptr;
};

/// The methods form a list that only grows at its head, so a reader needs no lock.
struct Class {
  std::string name;
  Class* superclass;
  std::atomic<Method*> methods{nullptr};

  Method* ownMethod(SEL selector) const {
    for (Method* method = methods.load(std::memory_order_acquire); method; method = method->next) {
      if (method->selector == selector) return method;
    }
    return nullptr;
  }
};

namespace {

/// Selectors and classes by name. Classes register themselves before main() and are used during process exit, so the
/// tables are created at first use and never destroyed.
template <class T>
struct NameTable {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<T>, std::less<>> entries;
};

NameTable<SelectorName>& selectorTable() {
  static auto* table = new NameTable<SelectorName>;
  return *table;
}

NameTable<Class>& classTable() {
  static auto* table = new NameTable<Class>;
  return *table;
}

/// The class's own method or an inherited one; nullptr if there is none or if `cls` is nullptr.
Method* findMethod(const Class* cls, SEL selector) {
  for (const Class* each = cls; each; each = each->superclass) {
    if (Method* method = each->ownMethod(selector)) return method;
  }
  return nullptr;
}

bool isSameEncoding(const char* first, const char* second) {
  return first == second || std::strcmp(first, second) == 0;
}

/// Held while implementations are set or exchanged, so that an exchange never loses a change. Readers need no lock.
std::mutex& changingImplementations() {
  static auto* mutex = new std::mutex;
  return *mutex;
}

[[noreturn]] [[gnu::cold]] void throwInvalidArgument(const Class* cls, SEL selector, const char* what) {
  std::string name = "-[" + class_getName(cls) + " " + sel_getName(selector) + "]";
  throw Exception("NSInvalidArgumentException", name + ": " + what);
}

}  // namespace

SEL sel_registerName(std::string_view name) {
  auto& table = selectorTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  if (found == table.entries.end()) {
    std::string text(name);
    found = table.entries.emplace(text, new SelectorName(text)).first;
  }
  return found->second.get();
}

const std::string& sel_getName(SEL selector) {
  static const auto* none = new std::string("(null)");
  return selector ? selector->text : *none;
}

Class* NSClassFromString(std::string_view name) {
  auto& table = classTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  return found == table.entries.end() ? nullptr : found->second.get();
}

const std::string& class_getName(const Class* cls) {
  static const auto* none = new std::string("(null)");
  return cls ? cls->name : *none;
}

Class* class_getSuperclass(const Class* cls) {
  return cls ? cls->superclass : nullptr;
}

Method* class_getInstanceMethod(const Class* cls, SEL selector) {
  return findMethod(cls, selector);
}

std::vector<Method*> class_copyMethodList(const Class* cls) {
  std::vector<Method*> list;
  if (!cls) return list;
  for (Method* method = cls->methods.load(std::memory_order_acquire); method; method = method->next) {
    list.push_back(method);
  }
  return list;
}

bool class_addMethod(Class* cls, SEL selector, IMP implementation, const char* typeEncoding) {
  if (!cls || !selector || !implementation) return false;
  std::unique_ptr<Method> added(new Method(selector, typeEncoding, implementation));
  // The head is read before the list is searched, so that a method added by another thread is not missed.
  added->next = cls->methods.load(std::memory_order_acquire);
  do {
    if (cls->ownMethod(selector)) return false;
  } while (!cls->methods.compare_exchange_weak(added->next, added.get(), std::memory_order_acq_rel));
  added.release();  // the class keeps it for ever
  return true;
}

IMP method_getImplementation(const Method* method) {
  return method ? method->implementation.load(std::memory_order_acquire) : nullptr;
}

IMP method_setImplementation(Method* method, IMP implementation) {
  if (!method || !implementation) return nullptr;
  std::lock_guard lock(changingImplementations());
  return method->implementation.exchange(implementation, std::memory_order_acq_rel);
}

const char* method_getTypeEncoding(const Method* method) {
  return method ? method->typeEncoding : nullptr;
}

void method_exchangeImplementations(Method* first, Method* second) {
  if (!first || !second || first == second) return;
  std::lock_guard lock(changingImplementations());
  IMP former = first->implementation.load(std::memory_order_acquire);
  first->implementation.store(second->implementation.load(std::memory_order_acquire), std::memory_order_release);
  second->implementation.store(former, std::memory_order_release);
}

Class* registerClass(std::string_view name, Class* superclass,
                     std::initializer_list<detail::MethodDefinition> methods) {
  auto& table = classTable();
  std::lock_guard lock(table.mutex);
  auto found = table.entries.find(name);
  if (found != table.entries.end()) return found->second.get();
  // The methods are added before other threads can find the class.
  auto cls = std::make_unique<Class>();
  cls->name = name;
  cls->superclass = superclass;
  for (const auto& definition : methods) {
    class_addMethod(cls.get(), definition.selector, definition.implementation, definition.typeEncoding);
  }
  return table.entries.emplace(cls->name, std::move(cls)).first->second.get();
}

detail::MessageTarget detail::messageTargetFor(const Class* cls, SEL selector, const char* typeEncoding) {
  Method* method = findMethod(cls, selector);
  if (!method) [[unlikely]]
    throwInvalidArgument(cls, selector, "unrecognized selector sent to instance");
  if (method->typeEncoding && !isSameEncoding(method->typeEncoding, typeEncoding)) [[unlikely]] {
    throwInvalidArgument(cls, selector, "the method has another signature than the message");
  }
  return {method->implementation.load(std::memory_order_acquire), method->entry.load(std::memory_order_acquire)};
}

void detail::setMessageEntry(Method& method, IMP entry) {
  method.entry.store(entry, std::memory_order_release);
}

IMP detail::messageEntry(const Method& method) {
  return method.entry.load(std::memory_order_acquire);
}

IMP detail::firstImplementation(const Method* method) {
  return method ? method->first : nullptr;
}

Object::~Object() = default;

Class* Object::staticClass() {
  static Class* registered = registerClass("Object", nullptr);
  return registered;
}

bool Object::isKindOfClass(const Class* cls) const {
  for (const Class* own = class_(); own; own = own->superclass) {
    if (own == cls) return true;
  }
  return false;
}

std::string Object::description() const {
  return "<" + class_getName(class_()) + ">";
}

}  // namespace oq
