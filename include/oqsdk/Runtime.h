// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "oqsdk/Export.h"
#include "oqsdk/TypeEncoding.h"

/// \file
/// Classes that are registered by name. A caller sends a selector (the name of a method) to an object, and the method
/// is looked up at each call. So if a method's implementation is replaced, the next call runs the new one. A host
/// registers the class whose methods the library observes:
///
///     class TorvelinSDK : public oq::Object {
///       OQ_CLASS(TorvelinSDK)
///      public:
///       void record(const oq::Value& info) { oq::send(*this, oq::saveUploadInfo, info, "", nullptr); }
///      private:
///       void _save(const oq::Value& info, const std::string& event, const oq::UploadHandler& handler);
///     };
///     oq::Class* TorvelinSDK::staticClass() {
///       static oq::Class* registered = oq::registerClass(
///           "TorvelinSDK", oq::Object::staticClass(), {oq::method<&TorvelinSDK::_save>(oq::saveUploadInfo)});
///       return registered;
///     }
///
/// Threads: every function of this file may be called on any thread. Classes, methods and selectors are never freed, so
/// pointers to them stay valid until the process ends. Looking a method up takes no lock.
namespace oq {

class Object;
struct Class;
struct Method;
struct SelectorName;

/// A pointer to a method's implementation, without its type. Cast the pointer back to the exact type before the call;
/// see Selector::Function.
using IMP = void (*)();

/// A selector: the interned name of a method. Equal names give the same pointer.
using SEL = const SelectorName*;

/// Returns the selector with this name. The first call with a name creates the selector.
OQSDK_EXPORT SEL sel_registerName(std::string_view name);
/// The name that the selector was registered with; "(null)" for nullptr.
OQSDK_EXPORT const std::string& sel_getName(SEL selector);

/// The class registered under the name, or nullptr.
OQSDK_EXPORT Class* NSClassFromString(std::string_view name);
/// The name that the class was registered under; "(null)" for nullptr.
OQSDK_EXPORT const std::string& class_getName(const Class* cls);
/// The superclass; nullptr for a root class, and if `cls` is nullptr.
OQSDK_EXPORT Class* class_getSuperclass(const Class* cls);

/// The class's own method or the nearest inherited one; nullptr if there is no such method, or if an argument is
/// nullptr.
OQSDK_EXPORT Method* class_getInstanceMethod(const Class* cls, SEL selector);
/// The class's own methods, without inherited ones. Their order is unspecified.
OQSDK_EXPORT std::vector<Method*> class_copyMethodList(const Class* cls);
/// Adds a method to the class. Returns false and changes nothing if the class itself already has a method for the
/// selector, or if one of the first three arguments is nullptr. `typeEncoding` is not copied and must stay valid. If it
/// is nullptr, the caller guarantees the implementation's type, and messages to it are not checked.
OQSDK_EXPORT bool class_addMethod(Class* cls, SEL selector, IMP implementation, const char* typeEncoding);

/// The current implementation; nullptr for a nullptr method.
OQSDK_EXPORT IMP method_getImplementation(const Method* method);
/// Replaces the method's implementation and returns the former one. If an argument is nullptr, nothing changes and
/// nullptr is returned. If the library has hooked the method, a message still calls the hook first, and the hook then
/// calls the new implementation.
OQSDK_EXPORT IMP method_setImplementation(Method* method, IMP implementation);
/// The signature that the method was registered with, as typeEncodingOf() returns it; nullptr if it has none.
OQSDK_EXPORT const char* method_getTypeEncoding(const Method* method);
/// Exchanges the implementations of the two methods. Hooks of the library are not exchanged: each stays with its
/// method. Has no effect if an argument is nullptr.
OQSDK_EXPORT void method_exchangeImplementations(Method* first, Method* second);

/// A selector that knows its signature, so that the compiler checks registrations and messages. Define selectors as
/// constants, like saveUploadInfo: they are initialised at compile time, so they can be used while other static objects
/// are constructed and destroyed. Each type in the signature needs a TypeEncoding.
template <class Signature>
class Selector;

/// R is what the method returns, A are its arguments.
template <class R, class... A>
class Selector<R(A...)> {
 public:
  /// The arguments and the result of the method.
  using Signature = R(A...);
  /// An implementation's exact type: the receiver and the selector come before the arguments.
  using Function = R (*)(Object&, SEL, A...);

  /// `name` is not copied and must stay valid; usually it is a literal.
  constexpr explicit Selector(const char* name) : _name(name) {}

  /// The name that was passed to the constructor.
  const char* name() const { return _name; }
  /// The interned selector; looked up at the first call only.
  SEL sel() const {
    SEL known = _sel.load(std::memory_order_acquire);
    if (!known) {
      known = sel_registerName(_name);
      _sel.store(known, std::memory_order_release);
    }
    return known;
  }
  /// The same as sel().
  operator SEL() const { return sel(); }  // NOLINT: a selector with a signature is a selector

  /// Converts an implementation to the type in which it is stored.
  static IMP erase(Function function) { return reinterpret_cast<IMP>(function); }
  /// Converts a stored implementation back. It must belong to a method with this signature.
  static Function typed(IMP implementation) { return reinterpret_cast<Function>(implementation); }

 private:
  const char* _name;
  mutable std::atomic<SEL> _sel{nullptr};
};

namespace detail {

/// The member's type is a separate template parameter, here and below. Without this parameter, GCC 12 confuses classes
/// of the same name in unnamed namespaces of different files.
template <auto member, class Member = decltype(member)>
struct MemberThunk;

template <auto member, class C, class R, class... A>
struct MemberThunk<member, R (C::*)(A...)> {
  using Signature = R(A...);
  static R call(Object& self, SEL, A... arguments) {
    return (static_cast<C&>(self).*member)(std::forward<A>(arguments)...);
  }
};

struct MethodDefinition {
  SEL selector;
  IMP implementation;
  const char* typeEncoding;
};

/// What sending a message calls: `entry`, or `implementation` if `entry` is nullptr.
struct MessageTarget {
  IMP implementation;
  /// The library's hook on the method; nullptr if the method is not hooked. The hook is called instead of the
  /// implementation, and gets the implementation as its first argument, before the receiver.
  IMP entry;
};

/// Throws Exception "NSInvalidArgumentException" if the class has no method for the selector or has one with another
/// signature.
OQSDK_EXPORT MessageTarget messageTargetFor(const Class* cls, SEL selector, const char* typeEncoding);

}  // namespace detail

/// One entry of a class's method table: the member function that a message with this selector calls.
template <auto member, class Signature, class Member = decltype(member)>
detail::MethodDefinition method(const Selector<Signature>& selector) {
  using Thunk = detail::MemberThunk<member>;
  static_assert(std::is_same_v<typename Thunk::Signature, Signature>,
                "the member function's parameters must be the selector's");
  return {selector.sel(), Selector<Signature>::erase(&Thunk::call), typeEncodingOf<Signature>()};
}

/// Registers a class under its name. A second call with the same name returns the first class, unchanged. The
/// superclass is nullptr only for a root class.
OQSDK_EXPORT Class* registerClass(std::string_view name, Class* superclass,
                                  std::initializer_list<detail::MethodDefinition> methods = {});

/// The base of all objects with a registered class. The receiver of a message may live anywhere, also on the stack.
class OQSDK_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The class "Object", the root of all others.
  static Class* staticClass();
  /// The registered class of this object; for a C++ subclass that is not registered, its nearest registered ancestor.
  virtual Class* class_() const { return staticClass(); }
  /// Whether the object's class is `cls` or descends from it; false for nullptr.
  bool isKindOfClass(const Class* cls) const;
  /// A string for logs: the class's name in angle brackets, unless a subclass overrides it.
  virtual std::string description() const;
};

/// Declares the members of a registered class. The program defines staticClass(), which registers the class; the macro
/// calls it before main() runs. Members after the macro are private.
#define OQ_CLASS(Type)                   \
 public:                                 \
  static ::oq::Class* staticClass();     \
  ::oq::Class* class_() const override { \
    return staticClass();                \
  }                                      \
                                         \
 private:                                \
  static inline ::oq::Class* const _registeredClass = Type::staticClass();

namespace detail {

/// Calls the method that `cls` has for the selector.
template <class Signature>
struct MessageTo;

template <class R, class... A>
struct MessageTo<R(A...)> {
  /// The exact type of MessageTarget::entry.
  using Entry = R (*)(IMP, Object&, SEL, A...);

  template <class... B>
  static R send(const Class* cls, Object& receiver, SEL selector, B&&... arguments) {
    const MessageTarget target = messageTargetFor(cls, selector, typeEncodingOf<R(A...)>());
    if (target.entry) {
      return reinterpret_cast<Entry>(target.entry)(target.implementation, receiver, selector,
                                                   std::forward<B>(arguments)...);
    }
    return Selector<R(A...)>::typed(target.implementation)(receiver, selector, std::forward<B>(arguments)...);
  }
};

}  // namespace detail

/// Calls the receiver's method for the selector, on the calling thread. Throws Exception "NSInvalidArgumentException"
/// if its class has no such method, or has one with another signature.
template <class R, class... A, class... B>
R send(Object& receiver, const Selector<R(A...)>& selector, B&&... arguments) {
  return detail::MessageTo<R(A...)>::send(receiver.class_(), receiver, selector.sel(), std::forward<B>(arguments)...);
}

/// Like send(), but calls the method of the superclass of `cls`. `cls` is the class whose method makes this call.
template <class R, class... A, class... B>
R sendSuper(const Class* cls, Object& receiver, const Selector<R(A...)>& selector, B&&... arguments) {
  return detail::MessageTo<R(A...)>::send(class_getSuperclass(cls), receiver, selector.sel(),
                                          std::forward<B>(arguments)...);
}

}  // namespace oq
