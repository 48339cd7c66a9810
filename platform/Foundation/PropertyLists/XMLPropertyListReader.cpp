// SPDX-License-Identifier: Apache-2.0
#include <glib.h>

#include <algorithm>
#include <charconv>
#include <memory>
#include <set>

#include "Foundation/PropertyLists/XMLPropertyList.h"
#include "Foundation/Values/Base64.h"

namespace oq::plist {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool isBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == text.npos;
}

template <class Number>
std::optional<Number> wholeNumber(std::string_view text) {
  Number number{};
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The format allows a plus sign, but from_chars does not.
std::string_view withoutPlus(std::string_view text) {
  return text.size() > 1 && text[0] == '+' && text[1] != '-' ? text.substr(1) : text;
}

std::optional<Node> integerNode(std::string_view text) {
  text = withoutPlus(text);
  if (auto number = wholeNumber<std::int64_t>(text)) return *number;
  if (auto number = wholeNumber<std::uint64_t>(text)) return *number;
  return std::nullopt;
}

std::optional<Node> realNode(std::string_view text) {
  auto number = wholeNumber<double>(withoutPlus(text));
  if (!number) return std::nullopt;
  return RealNode{*number};
}

/// Exactly "yyyy-MM-ddTHH:mm:ssZ".
std::optional<Node> dateNode(std::string_view text) {
  constexpr std::string_view Form = "0000-00-00T00:00:00Z";
  if (text.size() != Form.size()) return std::nullopt;
  for (std::size_t i = 0; i < Form.size(); ++i) {
    bool fits = Form[i] == '0' ? g_ascii_isdigit(text[i]) : text[i] == Form[i];
    if (!fits) return std::nullopt;
  }
  auto field = [&](std::size_t start, std::size_t length) { return *wholeNumber<int>(text.substr(start, length)); };
  using namespace std::chrono;
  year_month_day day(year(field(0, 4)), month(static_cast<unsigned>(field(5, 2))),
                     std::chrono::day(static_cast<unsigned>(field(8, 2))));
  int hour = field(11, 2), minute = field(14, 2), second = field(17, 2);
  if (!day.ok() || hour > 23 || minute > 59 || second > 59) return std::nullopt;
  auto time = sys_seconds(sys_days(day)) + hours(hour) + minutes(minute) + seconds(second);
  return dateFromSecondsSince1970(static_cast<double>(time.time_since_epoch().count()));
}

std::optional<Node> dataNode(std::string_view text) {
  auto known = [](char c) {
    return g_ascii_isalnum(c) || c == '+' || c == '/' || c == '=' || kBlanks.find(c) != kBlanks.npos;
  };
  if (!std::all_of(text.begin(), text.end(), known)) return std::nullopt;
  auto bytes = dataWithBase64(text);
  if (!bytes) return std::nullopt;
  return std::move(*bytes);
}

std::optional<Node> scalarNode(std::string_view name, std::string_view text) {
  if (name == "string" || name == "key") return std::string(text);
  if (name == "integer") return integerNode(text);
  if (name == "real") return realNode(text);
  if (name == "date") return dateNode(text);
  if (name == "data") return dataNode(text);
  if (name == "true" && text.empty()) return true;
  if (name == "false" && text.empty()) return false;
  return std::nullopt;
}

/// Builds the table from the parser's events. The first error ends the parsing.
class Builder {
 public:
  bool start(std::string_view name, const char** attributeNames, const char** attributeValues) {
    if (_open.empty()) return startDocument(name, attributeNames, attributeValues);
    Element& parent = _open.back();
    if (*attributeNames || !parent.isContainer() || _open.size() > kMaximumXMLDepth + 1) return false;
    if (name == "plist") return false;
    bool isKey = name == "key";
    if (parent.name == "plist" ? isKey || _hasRoot : isKey != parent.wantsKey()) return false;
    _open.push_back(Element(std::string(name)));
    return true;
  }

  bool text(std::string_view text) {
    if (_open.empty() || _open.back().isContainer()) return isBlank(text);
    // GMarkup accepts control characters, which XML does not allow.
    auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 && kBlanks.find(c) == kBlanks.npos; };
    if (std::any_of(text.begin(), text.end(), isControl)) return false;
    _open.back().text += text;
    return true;
  }

  bool end() {
    Element element = std::move(_open.back());
    _open.pop_back();
    if (element.name == "plist") return _hasRoot;
    std::optional<Node> node = nodeOf(element);
    if (!node) return false;
    return attach(std::move(*node), _open.back(), element.name == "key");
  }

  /// Comments and the XML declaration have no effect; a document type must not define anything.
  static bool isHarmless(std::string_view markup) {
    bool known = markup.starts_with("<?xml ") || markup.starts_with("<!--") || markup.starts_with("<!DOCTYPE plist");
    return known && (markup.starts_with("<!--") || markup.find('[') == markup.npos);
  }

  std::optional<Table> take() {
    if (!_hasRoot || !_open.empty()) return std::nullopt;
    return std::move(_table);
  }

 private:
  struct Element {
    explicit Element(std::string elementName) : name(std::move(elementName)) {}
    bool isContainer() const { return name == "plist" || name == "array" || name == "dict"; }
    bool wantsKey() const { return name == "dict" && dictionary.keys.size() == dictionary.values.size(); }

    std::string name;
    std::string text;
    ArrayNode array;
    DictNode dictionary;
    std::set<std::string, std::less<>> names;
  };

  bool startDocument(std::string_view name, const char** attributeNames, const char** attributeValues) {
    if (name != "plist" || _hasDocument) return false;
    for (; *attributeNames; ++attributeNames, ++attributeValues) {
      if (std::string_view(*attributeNames) != "version" || std::string_view(*attributeValues) != "1.0") return false;
    }
    _hasDocument = true;
    _open.push_back(Element("plist"));
    return true;
  }

  static std::optional<Node> nodeOf(Element& element) {
    if (element.name == "array") return std::move(element.array);
    if (element.name != "dict") return scalarNode(element.name, element.text);
    if (!element.wantsKey()) return std::nullopt;
    return std::move(element.dictionary);
  }

  bool attach(Node node, Element& parent, bool isKey) {
    if (isKey && !parent.names.insert(std::get<std::string>(node)).second) return false;
    Ref ref = _table.add(std::move(node));
    if (isKey) {
      parent.dictionary.keys.push_back(ref);
    } else if (parent.name == "dict") {
      parent.dictionary.values.push_back(ref);
    } else if (parent.name == "array") {
      parent.array.items.push_back(ref);
    } else {
      _table.root = ref;
      _hasRoot = true;
    }
    return true;
  }

  Table _table;
  std::vector<Element> _open;
  bool _hasDocument = false;
  bool _hasRoot = false;
};

void check(bool accepted, GMarkupParseContext* context, GError** error) {
  if (accepted) return;
  int line = 0, character = 0;
  g_markup_parse_context_get_position(context, &line, &character);
  g_set_error(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT, "Not a property list at line %d, character %d.",
              line, character);
}

Builder& builder(gpointer user) {
  return *static_cast<Builder*>(user);
}

constexpr GMarkupParser kCallbacks{
    [](auto* context, auto* name, auto** names, auto** values, gpointer user, GError** error) {
      check(builder(user).start(name, names, values), context, error);
    },
    [](auto* context, auto*, gpointer user, GError** error) { check(builder(user).end(), context, error); },
    [](auto* context, auto* text, gsize length, gpointer user, GError** error) {
      check(builder(user).text({text, length}), context, error);
    },
    [](auto* context, auto* markup, gsize length, gpointer, GError** error) {
      check(Builder::isHarmless({markup, length}), context, error);
    },
    nullptr};

}  // namespace

std::optional<Table> readXML(const Data& data, std::string* reason) {
  Builder result;
  std::unique_ptr<GMarkupParseContext, void (*)(GMarkupParseContext*)> context(
      g_markup_parse_context_new(&kCallbacks, G_MARKUP_TREAT_CDATA_AS_TEXT, &result, nullptr),
      g_markup_parse_context_free);
  GError* error = nullptr;
  auto* bytes = reinterpret_cast<const char*>(data.data());
  // Data with a NUL is refused: the parser would end a string there, but this code would continue.
  bool parsed = !data.empty() && std::find(data.begin(), data.end(), 0) == data.end() &&
                g_markup_parse_context_parse(context.get(), bytes, static_cast<gssize>(data.size()), &error) &&
                g_markup_parse_context_end_parse(context.get(), &error);
  if (reason && !parsed) *reason = error ? error->message : "The data is empty or contains a NUL.";
  g_clear_error(&error);
  return parsed ? result.take() : std::nullopt;
}

}  // namespace oq::plist
