// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "oqsdk/Export.h"

namespace oq {

struct Member;

/// A value of one of these kinds: null, boolean, number, string, array or dictionary. Dictionaries keep the order of
/// their keys. A null Value means that there is no value; an empty string, array or dictionary is a value.
///
///     oq::Value event = oq::Dictionary{{"xwhat", "buy"}, {"xwhen", 12.5}, {"xcontext", oq::Dictionary()}};
///     event["xcontext"]["item"] = "tea";
///     double when = event.at("xwhen").toDouble();
///     std::string text = event.json();
///
/// A Value owns what it contains; copying it copies everything. Strings are UTF-8. Threads: like a std::string, it may
/// be read by several threads at once, or be changed by one. Running out of memory throws std::bad_alloc.
class OQSDK_EXPORT Value {
 public:
  /// What a Value holds.
  enum class Kind { Null, Boolean, Number, String, Array, Dictionary };

  /// Null.
  Value() noexcept;
  /// Null.
  Value(std::nullptr_t) noexcept : Value() {}  // NOLINT: values convert on purpose, here and below
  /// A boolean, or a number: integers stay exact, all others become a double.
  template <class T, class = std::enable_if_t<std::is_arithmetic_v<T>>>
  Value(T value) noexcept : Value(Number<T>(value), Exactly()) {}  // NOLINT
  /// A copy of the string; nullptr makes a null Value.
  Value(const char* text);  // NOLINT
  /// A copy of the string, for std::string and all that converts to a std::string_view.
  template <class T, class = std::enable_if_t<std::is_convertible_v<const T&, std::string_view> &&
                                              !std::is_convertible_v<const T&, const char*>>>
  Value(const T& text) : Value(std::string_view(text), Exactly()) {}  // NOLINT
  /// A dictionary with these members; see Dictionary.
  Value(std::initializer_list<Member> members);  // NOLINT

  /// A deep copy.
  Value(const Value& other);
  /// Leaves `other` null.
  Value(Value&& other) noexcept;
  /// A deep copy; `other` may be a part of this value.
  Value& operator=(const Value& other);
  /// Leaves `other` null.
  Value& operator=(Value&& other) noexcept;
  ~Value();

  /// The kind of the value.
  Kind kind() const noexcept;
  bool isNull() const noexcept { return kind() == Kind::Null; }              ///< No value.
  bool isBoolean() const noexcept { return kind() == Kind::Boolean; }        ///< true or false.
  bool isNumber() const noexcept { return kind() == Kind::Number; }          ///< An integer or a double.
  bool isString() const noexcept { return kind() == Kind::String; }          ///< A string, "" as well.
  bool isArray() const noexcept { return kind() == Kind::Array; }            ///< An array, also an empty one.
  bool isDictionary() const noexcept { return kind() == Kind::Dictionary; }  ///< A dictionary, also an empty one.

  /// The boolean; `otherwise` for any other kind.
  bool toBool(bool otherwise = false) const noexcept;
  /// The number; `otherwise` for any other kind. Integers beyond 2^53 are rounded.
  double toDouble(double otherwise = 0) const noexcept;
  /// The number without its fraction; `otherwise` for any other kind, and for a number that does not fit.
  std::int64_t toInteger(std::int64_t otherwise = 0) const noexcept;
  /// The string, valid until this Value is changed or destroyed; `otherwise` for any other kind.
  std::string_view toString(std::string_view otherwise = {}) const noexcept;

  /// How many elements an array or members a dictionary has; 0 for any other kind.
  std::size_t size() const noexcept;
  /// Whether size() is 0.
  bool empty() const noexcept { return size() == 0; }

  /// The element of an array, counted from 0; a null Value if there is no such element or this is not an array.
  const Value& at(std::size_t index) const noexcept;
  /// The value of a dictionary's key; a null Value if there is no such key or this is not a dictionary.
  const Value& at(std::string_view key) const noexcept;
  /// The keys of a dictionary in order, valid until this Value is changed or destroyed; empty for any other kind.
  std::vector<std::string_view> keys() const;
  /// The first element, for a loop over an array. For any other kind begin() equals end().
  const Value* begin() const noexcept;
  const Value* end() const noexcept;  ///< Past the last element.

  /// Stores the value for the key. If this Value is not a dictionary, it becomes an empty dictionary first. The new
  /// value may be a part of this Value: `event.set("b", event.at("a"))`.
  void set(std::string_view key, Value value);
  /// The value of the key; a new key is added with a null Value. If this Value is not a dictionary, it becomes an empty
  /// dictionary first. The reference is valid until the dictionary is changed or destroyed. Adding a key is such a
  /// change. So `event["b"] = event.at("a")` is wrong if "b" is new: the reference that at() returned may already be
  /// invalid when the value is copied. Use set().
  Value& operator[](std::string_view key);
  Value& operator[](std::size_t index) = delete;  ///< Elements of arrays are read with at() and added with push_back().
  /// Adds an element at the end. If this Value is not an array, it becomes an empty array first.
  void push_back(Value element);
  /// Removes a key from a dictionary; false if there is no such key or this is not a dictionary.
  bool erase(std::string_view key);

  /// Whether both have the same content. The order of a dictionary's keys does not matter. An integer is never equal to
  /// a double.
  friend bool operator==(const Value& a, const Value& b) noexcept { return a.isEqual(b); }
  /// Whether the contents differ.
  friend bool operator!=(const Value& a, const Value& b) noexcept { return !a.isEqual(b); }

  /// The Value as JSON (RFC 8259) without blanks, in UTF-8; a double is still a double when it is read again. Values
  /// nested more than 512 deep and numbers that are not finite are written as null.
  std::string json() const;
  /// Reads one JSON value of any kind, nested at most 512 deep. Returns a null Value if the text is anything else. A
  /// failure sets `*error`, unless `error` is nullptr, to a sentence with the reason and the position in bytes; a
  /// success sets it to "".
  static Value parse(std::string_view json, std::string* error = nullptr);

 protected:
  /// Makes an empty array or dictionary; null for any other kind.
  explicit Value(Kind kind);

 private:
  /// Selects a constructor for exactly one type, without conversions.
  struct Exactly {};
  template <class T>
  using Number =
      std::conditional_t<std::is_same_v<T, bool>, bool,
                         std::conditional_t<std::is_floating_point_v<T>, double,
                                            std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>>>;
  Value(bool value, Exactly) noexcept;
  Value(double value, Exactly) noexcept;
  Value(std::int64_t value, Exactly) noexcept;
  Value(std::uint64_t value, Exactly) noexcept;
  Value(std::string_view text, Exactly);
  bool isEqual(const Value& other) const noexcept;

  alignas(8) unsigned char _storage[24];
};

/// One entry of the initializer list of a Dictionary.
struct Member {
  std::string_view key;  ///< Copied into the dictionary.
  mutable Value value;   ///< Moved into the dictionary; the list is of no further use.
};

/// A Value that starts as a dictionary: keys and their values, in the order of the list. If a key occurs more than
/// once, its last value is stored at the place of its first occurrence.
class Dictionary : public Value {
 public:
  Dictionary() : Value(Kind::Dictionary) {}                              ///< Empty.
  Dictionary(std::initializer_list<Member> members) : Value(members) {}  ///< With these members.
};

/// A Value that starts as an array: values in order. `Array{array}` is an array in an array; `Array(array)` is a copy.
class OQSDK_EXPORT Array : public Value {
 public:
  Array() : Value(Kind::Array) {}                ///< Empty.
  Array(std::initializer_list<Value> elements);  ///< With copies of these elements.
};

}  // namespace oq
