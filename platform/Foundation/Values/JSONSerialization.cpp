// SPDX-License-Identifier: Apache-2.0
#include "Foundation/Values/JSONSerialization.h"

#include <glib.h>

#include <algorithm>
#include <boost/json/parser.hpp>
#include <charconv>
#include <cmath>
#include <string_view>

#include "Foundation/Values/Base64.h"
#include "oqsdk/Exception.h"

namespace oq {
namespace {

constexpr std::size_t kMaximumDepth = 512;

/// boost::json parses a number with a too large exponent as infinity, which JSON does not have.
bool isFinite(const JSONValue& value) {
  if (const double* number = value.if_double()) return std::isfinite(*number);
  if (const JSONArray* array = value.if_array()) return std::all_of(array->begin(), array->end(), isFinite);
  const JSONDictionary* object = value.if_object();
  return !object || std::all_of(object->begin(), object->end(), [](auto& e) { return isFinite(e.value()); });
}

/// Whether a string can be written unchanged. Most can, and this check is faster than escaping.
bool isPlain(std::string_view text) {
  bool isSpecial = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    isSpecial |= byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\';
  }
  return !isSpecial;
}

enum class Layout { Pretty, Compact };

class Writer {
 public:
  explicit Writer(Layout layout) : _pretty(layout == Layout::Pretty) { _text.reserve(512); }

  void write(const JSONValue& value) {
    switch (value.kind()) {
      case boost::json::kind::null:
        return append("null");
      case boost::json::kind::bool_:
        return append(value.get_bool() ? "true" : "false");
      case boost::json::kind::int64:
        return appendInteger(value.get_int64());
      case boost::json::kind::uint64:
        return appendInteger(value.get_uint64());
      case boost::json::kind::double_:
        return appendDouble(value.get_double());
      case boost::json::kind::string:
        return appendString(value.get_string());
      case boost::json::kind::array:
        return appendContainer(value.get_array(), '[', ']', [this](const JSONValue& element) { write(element); });
      case boost::json::kind::object:
        return writeObject(value.get_object());
    }
  }

  void writeObject(const JSONDictionary& object) {
    appendContainer(object, '{', '}', [this](const boost::json::key_value_pair& entry) {
      appendString(entry.key());
      append(_pretty ? " : " : ":");
      write(entry.value());
    });
  }

  std::string take() { return std::move(_text); }

 private:
  void append(std::string_view text) { _text.append(text); }

  void appendLineBreak() {
    if (!_pretty) return;
    static constexpr std::string_view kLineBreak = "\n                ";
    const std::size_t length = 1 + 2 * _depth;
    append(kLineBreak.substr(0, length));
    if (length > kLineBreak.size()) _text.append(length - kLineBreak.size(), ' ');
  }

  template <class Container, class WriteElement>
  void appendContainer(const Container& container, char open, char close, WriteElement writeElement) {
    // valueWithJSON() must be able to read the result, and the recursion must not exhaust the stack.
    if (_depth == kMaximumDepth) return append("null");
    _text.push_back(open);
    ++_depth;
    bool first = true;
    for (const auto& element : container) {
      if (!first) _text.push_back(',');
      first = false;
      appendLineBreak();
      writeElement(element);
    }
    --_depth;
    if (!first) appendLineBreak();
    _text.push_back(close);
  }

  template <class Integer>
  void appendInteger(Integer number) {
    char digits[24];
    auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    _text.append(digits, end);
  }

  void appendDouble(double number) {
    if (!std::isfinite(number)) return append("null");
    char digits[400];
    bool whole = number == std::trunc(number);
    // Writing it as an integer takes half the time. Zero is excluded because an integer would lose the sign of -0.0.
    constexpr double exactBelow = 9007199254740992;
    if (_pretty && whole && std::abs(number) < exactBelow && number != 0) {
      return appendInteger(static_cast<std::int64_t>(number));
    }
    auto end = whole ? std::to_chars(digits, digits + sizeof digits, number, std::chars_format::fixed).ptr
                     : std::to_chars(digits, digits + sizeof digits, number).ptr;
    _text.append(digits, end);
    // Keeps the number a double when it is read back.
    if (whole && !_pretty) append(".0");
  }

  void appendString(std::string_view text) {
    if (isPlain(text)) {
      _text.push_back('"');
      _text.append(text);
      _text.push_back('"');
      return;
    }
    if (isValidUTF8(text)) return appendQuoted(text);
    char* repaired = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    appendQuoted(repaired);
    g_free(repaired);
  }

  void appendQuoted(std::string_view text) {
    _text.push_back('"');
    for (char c : text) appendCharacter(c);
    _text.push_back('"');
  }

  void appendCharacter(char c) {
    static constexpr char kHex[] = "0123456789abcdef";
    if (c == '"' || c == '\\') {
      _text.push_back('\\');
      _text.push_back(c);
    } else if (static_cast<unsigned char>(c) >= 0x20) {
      _text.push_back(c);
    } else if (c == '\n') {
      append("\\n");
    } else if (c == '\r') {
      append("\\r");
    } else if (c == '\t') {
      append("\\t");
    } else {
      append("\\u00");
      _text.push_back(kHex[c >> 4]);
      _text.push_back(kHex[c & 15]);
    }
  }

  const bool _pretty;
  std::size_t _depth = 0;
  std::string _text;
};

std::string textOf(const JSONValue& value, Layout layout) {
  Writer writer(layout);
  writer.write(value);
  return writer.take();
}

}  // namespace

std::optional<JSONValue> valueWithJSON(std::string_view text, std::string* error) {
  boost::json::parse_options options;
  options.max_depth = kMaximumDepth;
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";  // some servers and editors write one
  if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
  unsigned char scratch[BOOST_JSON_STACK_BUFFER_SIZE];
  boost::json::parser parser({}, options, scratch);
  boost::json::error_code code;
  const std::size_t read = parser.write(text, code);
  if (code) {
    if (error) *error = "not JSON at byte " + std::to_string(read) + ": " + code.message();
    return std::nullopt;
  }
  JSONValue value = parser.release();
  if (isFinite(value)) return value;
  if (error) *error = "not JSON: a number is out of range";
  return std::nullopt;
}

std::optional<JSONValue> valueWithJSONData(const Data& data) {
  return valueWithJSON({reinterpret_cast<const char*>(data.data()), data.size()});
}

Data dataWithJSONObject(const JSONValue& object) {
  if (!object.is_object() && !object.is_array()) {
    throw Exception("NSInvalidArgumentException", "Invalid top-level type in JSON write");
  }
  return dataFromString(prettyJSON(object));
}

std::string prettyJSON(const JSONValue& value) {
  return textOf(value, Layout::Pretty);
}

std::string prettyJSON(const JSONDictionary& dictionary) {
  Writer writer(Layout::Pretty);
  writer.writeObject(dictionary);
  return writer.take();
}

std::string compactJSON(const JSONValue& value) {
  return textOf(value, Layout::Compact);
}

}  // namespace oq
