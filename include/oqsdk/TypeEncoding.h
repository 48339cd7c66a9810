// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

/// \file
/// How a method's signature is written: the encoding of the result, then that of each argument, from the table below. A
/// pointer is "^" and the encoding of the type it points to, a reference "R" and that of the type it refers to, a
/// constant "r" and that of its type.
namespace oq {

class Object;
class Value;
struct Class;
struct SelectorName;

/// One entry of the table. Only types with an entry can be arguments or results of a selector. To add a type of your
/// own, specialise this template with a name in braces:
///
///     template <>
///     struct oq::TypeEncoding<Basket> {
///       static constexpr std::string_view text = "{Basket}";
///     };
template <class T>
struct TypeEncoding;

/// \cond
#define OQ_TYPE_ENCODING(Type, encoding)               \
  template <>                                          \
  struct TypeEncoding<Type> {                          \
    static constexpr std::string_view text = encoding; \
  };
OQ_TYPE_ENCODING(void, "v")
OQ_TYPE_ENCODING(bool, "B")
OQ_TYPE_ENCODING(char, "c")
OQ_TYPE_ENCODING(unsigned char, "C")
OQ_TYPE_ENCODING(short, "s")
OQ_TYPE_ENCODING(unsigned short, "S")
OQ_TYPE_ENCODING(int, "i")
OQ_TYPE_ENCODING(unsigned int, "I")
OQ_TYPE_ENCODING(long, "l")
OQ_TYPE_ENCODING(unsigned long, "L")
OQ_TYPE_ENCODING(long long, "q")
OQ_TYPE_ENCODING(unsigned long long, "Q")
OQ_TYPE_ENCODING(float, "f")
OQ_TYPE_ENCODING(double, "d")
OQ_TYPE_ENCODING(std::string, "{string}")
OQ_TYPE_ENCODING(std::function<void()>, "@?")
OQ_TYPE_ENCODING(Object, "@")
OQ_TYPE_ENCODING(Value, "{Value}")
OQ_TYPE_ENCODING(Class, "#")
OQ_TYPE_ENCODING(SelectorName, ":")
#undef OQ_TYPE_ENCODING

namespace detail {

template <class... Parts>
constexpr auto joinEncodings() {
  std::array<char, (std::size_t{1} + ... + TypeEncoding<Parts>::text.size())> joined{};
  std::size_t length = 0;
  const auto append = [&](std::string_view part) {
    for (const char letter : part) joined[length++] = letter;
  };
  (append(TypeEncoding<Parts>::text), ...);
  return joined;
}

template <class... Parts>
struct JoinedEncoding {
  static constexpr auto text = joinEncodings<Parts...>();  ///< ends with a NUL byte
};

template <class... Parts>
struct DerivedEncoding {
  static constexpr std::string_view text{JoinedEncoding<Parts...>::text.data(),
                                         JoinedEncoding<Parts...>::text.size() - 1};
};

struct PointerMark;
struct ReferenceMark;
struct ConstantMark;

template <class Signature>
struct SignatureEncoding;

template <class R, class... A>
struct SignatureEncoding<R(A...)> {
  static const char* text() { return JoinedEncoding<R, A...>::text.data(); }
};

}  // namespace detail

template <>
struct TypeEncoding<detail::PointerMark> {
  static constexpr std::string_view text = "^";
};
template <>
struct TypeEncoding<detail::ReferenceMark> {
  static constexpr std::string_view text = "R";
};
template <>
struct TypeEncoding<detail::ConstantMark> {
  static constexpr std::string_view text = "r";
};
template <class T>
struct TypeEncoding<T*> : detail::DerivedEncoding<detail::PointerMark, T> {};
template <class T>
struct TypeEncoding<T&> : detail::DerivedEncoding<detail::ReferenceMark, T> {};
template <class T>
struct TypeEncoding<const T> : detail::DerivedEncoding<detail::ConstantMark, T> {};
/// \endcond

/// The encoding of a signature, for example "vB" for `void(bool)`. It is the same in all modules of a program. The
/// string is never freed.
template <class Signature>
const char* typeEncodingOf() {
  return detail::SignatureEncoding<Signature>::text();
}

}  // namespace oq
