// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "oqsdk/Export.h"

/// \file
/// Classes by name, with methods that are found when they are called: a method is reached by sending its selector, so
/// replacing its implementation changes what runs. A host registers the class whose methods the library is to observe:
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
/// Threads: everything here may be called from any thread. Classes and methods are never freed, so a handle stays valid
/// and identical for the life of the process, and looking a method up takes no lock.
namespace oq {

class Object;
struct Class;
struct Method;
struct SelectorName;

/// An implementation, erased. It is only ever called after a cast back to its exact type.
using IMP = void (*)();

/// A selector: the interned name of a method. Equal names give the same pointer.
using SEL = const SelectorName*;

/// The selector of that name, made at its first use.
OQSDK_EXPORT SEL sel_registerName(std::string_view name);
/// The name that the selector was registered with; "(null)" for nullptr.
OQSDK_EXPORT const std::string& sel_getName(SEL selector);

/// The class registered under the name, or nullptr.
OQSDK_EXPORT Class* NSClassFromString(std::string_view name);
/// The name that the class was registered under; "(null)" for nullptr.
OQSDK_EXPORT const std::string& class_getName(const Class* cls);
/// nullptr for a root class, and for nullptr.
OQSDK_EXPORT Class* class_getSuperclass(const Class* cls);

/// The class's own method or the nearest inherited one; nullptr when there is none, or when either argument is nullptr.
OQSDK_EXPORT Method* class_getInstanceMethod(const Class* cls, SEL selector);
/// The class's own methods, inherited ones not included, in no promised order.
OQSDK_EXPORT std::vector<Method*> class_copyMethodList(const Class* cls);
/// False, and nothing changed, when the class itself already has a method for the selector. A nullptr encoding means
/// that the caller vouches for the implementation's type; it is then not checked when a message is sent.
OQSDK_EXPORT bool class_addMethod(Class* cls, SEL selector, IMP implementation, const char* typeEncoding);

/// A nullptr method has no implementation and no encoding; changing it does nothing.
OQSDK_EXPORT IMP method_getImplementation(const Method* method);
/// Returns the implementation that was replaced. A method keeps its own when nullptr is given. Messages to a method
/// that the library has hooked still enter through that hook, which then calls what is set here.
OQSDK_EXPORT IMP method_setImplementation(Method* method, IMP implementation);
/// The signature that the method was registered with, as typeEncodingOf() tells it; nullptr when none was given.
OQSDK_EXPORT const char* method_getTypeEncoding(const Method* method);
/// Each method gets the other's implementation. A hook of the library stays with its method.
OQSDK_EXPORT void method_exchangeImplementations(Method* first, Method* second);

/// The signature as text. Two modules of one program agree on it.
template <class Signature>
const char* typeEncodingOf() {
  return typeid(Signature).name();
}

/// A selector that knows its signature, so that registrations and sends are checked when they are compiled. Meant for
/// constants: it may be used before and after any other object with static storage is alive.
template <class Signature>
class Selector;

/// The one form that a selector has: R is what the method returns, A are its arguments.
template <class R, class... A>
class Selector<R(A...)> {
 public:
  /// What the method takes and returns.
  using Signature = R(A...);
  /// An implementation's exact type: the receiver and the selector come before the arguments.
  using Function = R (*)(Object&, SEL, A...);

  /// `name` is not copied: it is a literal, as a rule.
  constexpr explicit Selector(const char* name) : _name(name) {}

  /// The name as it was given.
  const char* name() const { return _name; }
  /// The interned selector, looked up once.
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

  /// An implementation as it is stored.
  static IMP erase(Function function) { return reinterpret_cast<IMP>(function); }
  /// A stored implementation as it is called: of a method of this very signature, and of no other.
  static Function typed(IMP implementation) { return reinterpret_cast<Function>(implementation); }

 private:
  const char* _name;
  mutable std::atomic<SEL> _sel{nullptr};
};

namespace detail {

/// The member's type is a parameter of its own, here and below: where only the member tells them apart, GCC 12 takes
/// classes of one name in two files' unnamed namespaces for the same.
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

/// What a message calls.
struct MessageTarget {
  IMP implementation;
  /// The library's hook on the method; nullptr for a method without one. Its function takes the implementation before
  /// the receiver and is called in its place.
  IMP entry;
};

/// What to call, or an Exception "NSInvalidArgumentException" when the class lacks the selector or knows it with
/// another signature.
OQSDK_EXPORT MessageTarget messageTargetFor(const Class* cls, SEL selector, const char* typeEncoding);

}  // namespace detail

/// One entry of a class's method table: a member function that answers to the selector.
template <auto member, class Signature, class Member = decltype(member)>
detail::MethodDefinition method(const Selector<Signature>& selector) {
  using Thunk = detail::MemberThunk<member>;
  static_assert(std::is_same_v<typename Thunk::Signature, Signature>,
                "the member function's parameters must be the selector's");
  return {selector.sel(), Selector<Signature>::erase(&Thunk::call), typeEncodingOf<Signature>()};
}

/// Makes a class known under its name. A second call with the same name returns the first class, unchanged.
/// The superclass may be nullptr only for a root class.
OQSDK_EXPORT Class* registerClass(std::string_view name, Class* superclass,
                                  std::initializer_list<detail::MethodDefinition> methods = {});

/// The root of everything that has a class at run time. Receivers of messages need not be owned by a shared_ptr.
class OQSDK_EXPORT Object {
 public:
  Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;
  virtual ~Object();

  /// The class "Object", which all others descend from.
  static Class* staticClass();
  /// The registered class of this object; a C++ subclass that is not registered answers with its ancestor's.
  virtual Class* class_() const { return staticClass(); }
  /// Whether the object's class is `cls` or descends from it; false for nullptr.
  bool isKindOfClass(const Class* cls) const;
  /// The class's name in angle brackets, unless a subclass has something better to say.
  virtual std::string description() const;
};

/// Declares that the enclosing class is registered under a name of its own, also before main() runs. Leaves the access
/// at private.
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

/// Sends a message to what `cls` has for the selector.
template <class Signature>
struct MessageTo;

template <class R, class... A>
struct MessageTo<R(A...)> {
  /// The exact type of MessageTarget::entry.
  using Entry = R (*)(IMP, Object&, SEL, A...);

  template <class... B>
  static R send(const Class* cls, Object& receiver, SEL selector, B&&... arguments) {
    const MessageTarget target = messageTargetFor(cls, selector, typeEncodingOf<R(A...)>());
    if (target.entry) [[unlikely]] {
      return reinterpret_cast<Entry>(target.entry)(target.implementation, receiver, selector,
                                                   std::forward<B>(arguments)...);
    }
    return Selector<R(A...)>::typed(target.implementation)(receiver, selector, std::forward<B>(arguments)...);
  }
};

}  // namespace detail

/// Calls the receiver's method for the selector, on the calling thread.
template <class R, class... A, class... B>
R send(Object& receiver, const Selector<R(A...)>& selector, B&&... arguments) {
  return detail::MessageTo<R(A...)>::send(receiver.class_(), receiver, selector.sel(), std::forward<B>(arguments)...);
}

/// Calls what the superclass of `cls` has for the selector; `cls` is the class whose method makes the call.
template <class R, class... A, class... B>
R sendSuper(const Class* cls, Object& receiver, const Selector<R(A...)>& selector, B&&... arguments) {
  return detail::MessageTo<R(A...)>::send(class_getSuperclass(cls), receiver, selector.sel(),
                                          std::forward<B>(arguments)...);
}

}  // namespace oq
