// SPDX-License-Identifier: Apache-2.0
#include "JsonSchema.h"

#include <algorithm>
#include <boost/json.hpp>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>

#include "CalendarTime.h"
#include "JsonPath.h"

namespace oq::server {

namespace json = boost::json;

namespace {

constexpr std::string_view typeNames[] = {"null", "boolean", "integer", "number", "string", "array", "object"};
constexpr unsigned bit(std::string_view name) {
  return 1u << (std::find(std::begin(typeNames), std::end(typeNames), name) - std::begin(typeNames));
}

// An integer is a number without fraction or exponent that fits a signed 64-bit integer.
unsigned typesOf(const json::value& value) {
  switch (value.kind()) {
    case json::kind::null:
      return bit("null");
    case json::kind::bool_:
      return bit("boolean");
    case json::kind::int64:
      return bit("integer") | bit("number");
    case json::kind::uint64:
    case json::kind::double_:
      return bit("number");
    case json::kind::string:
      return bit("string");
    case json::kind::array:
      return bit("array");
    case json::kind::object:
      return bit("object");
  }
  return 0;
}

std::string shortForm(const json::value& value) {
  constexpr std::size_t longest = 40;
  if (value.is_object()) return "an object";
  if (value.is_array()) return "an array";
  const auto text = json::serialize(value);
  return text.size() <= longest ? text : "a long string";
}

}  // namespace

// A schema or one of its subschemas.
struct JsonSchema::Node {
  unsigned types = ~0u;
  std::vector<json::value> enumeration;
  double minimum = -std::numeric_limits<double>::infinity();
  double maximum = std::numeric_limits<double>::infinity();
  std::size_t minLength = 0, minItems = 0;
  std::size_t maxLength = std::numeric_limits<std::size_t>::max();
  std::optional<std::regex> pattern;
  bool (*format)(std::string_view) = nullptr;
  std::vector<std::string> required;
  std::map<std::string, const Node*, std::less<>> properties;
  const Node* additionalProperties = nullptr;
  const Node* items = nullptr;
  std::string mustBe;
  Nodes parts;  // all nodes that a value has to satisfy: the nodes of "allOf", and this node

  // Checks the value itself, without its members and elements.
  bool accepts(const json::value& value) const {
    if (!(types & typesOf(value))) return false;
    if (!enumeration.empty() && std::find(enumeration.begin(), enumeration.end(), value) == enumeration.end())
      return false;
    if (value.is_number() && (value.to_number<double>() < minimum || value.to_number<double>() > maximum)) return false;
    if (const auto* array = value.if_array(); array && array->size() < minItems) return false;
    const auto* text = value.if_string();
    if (!text) return true;
    // The length is counted in bytes, although JSON Schema counts characters. For our schema this makes no difference:
    // it only requires non-empty strings, or it also requires a pattern of ASCII characters.
    if (text->size() < minLength || text->size() > maxLength) return false;
    if (pattern && !std::regex_match(text->begin(), text->end(), *pattern)) return false;
    return !format || format(*text);
  }
};

class JsonSchema::Compiler {
 public:
  Compiler(const json::value& root, std::vector<std::unique_ptr<Node>>& nodes) : _root(root), _nodes(nodes) {}

  const Node* compile(const json::value& source) {
    if (const auto known = _compiled.find(&source); known != _compiled.end()) return known->second;
    const auto& object = source.as_object();
    if (const auto* target = object.if_contains("$ref")) {
      if (object.size() != 1) throw std::logic_error("$ref hides the keywords next to it");
      return compile(_root.at_pointer(std::string_view(target->as_string()).substr(1)));
    }
    Node& node = *_nodes.emplace_back(std::make_unique<Node>());
    for (const auto& [key, value] : object) _take(node, key, value);
    node.parts.push_back(&node);
    return _compiled[&source] = &node;
  }

 private:
  using Take = void (*)(Compiler&, Node&, const json::value&);

  void _take(Node& node, std::string_view key, const json::value& value) {
    const auto known = _keywords().find(key);
    if (known == _keywords().end()) throw std::logic_error("unknown keyword " + std::string(key));
    known->second(*this, node, value);
  }

  static const std::map<std::string_view, Take>& _keywords() {
    static const Take nothing = [](Compiler&, Node&, const json::value&) {};
    static const std::map<std::string_view, Take> table = {
        {"$schema", nothing},
        {"title", nothing},
        {"description", nothing},
        {"definitions", nothing},  // compiled when a reference uses them
        {"type", [](Compiler&, Node& node, const json::value& v) { node.types = _typesFrom(v); }},
        {"enum", [](Compiler&, Node& node,
                    const json::value& v) { node.enumeration.assign(v.as_array().begin(), v.as_array().end()); }},
        {"minimum", [](Compiler&, Node& node, const json::value& v) { node.minimum = v.to_number<double>(); }},
        {"maximum", [](Compiler&, Node& node, const json::value& v) { node.maximum = v.to_number<double>(); }},
        {"minLength", [](Compiler&, Node& node, const json::value& v) { node.minLength = v.to_number<std::size_t>(); }},
        {"maxLength", [](Compiler&, Node& node, const json::value& v) { node.maxLength = v.to_number<std::size_t>(); }},
        {"minItems", [](Compiler&, Node& node, const json::value& v) { node.minItems = v.to_number<std::size_t>(); }},
        {"pattern", [](Compiler&, Node& node, const json::value& v) { node.pattern = _patternFrom(v.as_string()); }},
        {"format", [](Compiler&, Node& node, const json::value& v) { node.format = _formatNamed(v.as_string()); }},
        {"mustBe", [](Compiler&, Node& node, const json::value& v) { node.mustBe = v.as_string(); }},
        {"required",
         [](Compiler&, Node& node, const json::value& v) {
           for (const auto& key : v.as_array()) node.required.emplace_back(key.as_string());
         }},
        {"properties",
         [](Compiler& self, Node& node, const json::value& v) {
           for (const auto& [key, schema] : v.as_object()) node.properties.emplace(key, self.compile(schema));
         }},
        {"additionalProperties",
         [](Compiler& self, Node& node, const json::value& v) { node.additionalProperties = self.compile(v); }},
        {"items", [](Compiler& self, Node& node, const json::value& v) { node.items = self.compile(v); }},
        {"allOf",
         [](Compiler& self, Node& node, const json::value& v) {
           for (const auto& schema : v.as_array()) {
             const auto& parts = self.compile(schema)->parts;
             node.parts.insert(node.parts.end(), parts.begin(), parts.end());
           }
         }},
    };
    return table;
  }

  static unsigned _typesFrom(const json::value& value) {
    if (value.is_string()) return bit(value.get_string());
    unsigned types = 0;
    for (const auto& name : value.as_array()) types |= bit(name.as_string());
    return types;
  }

  static bool (*_formatNamed(std::string_view name))(std::string_view) {
    if (name != "calendar-time") throw std::logic_error("unknown format " + std::string(name));
    return isCalendarTime;
  }

  // regex_match() matches the whole string, but JSON Schema searches for a pattern anywhere in the string. For a
  // pattern with both anchors there is no difference, so only such patterns are accepted.
  static std::regex _patternFrom(std::string_view pattern) {
    if (!pattern.starts_with('^') || !pattern.ends_with('$')) throw std::logic_error("a pattern without anchors");
    return std::regex(pattern.begin(), pattern.end());
  }

  const json::value& _root;
  std::vector<std::unique_ptr<Node>>& _nodes;
  std::map<const json::value*, const Node*> _compiled;
};

class JsonSchema::Walk {
 public:
  explicit Walk(CampaignReport& report) : _report(report) {}

  enum class As { member, element };

  // A null member counts as absent: if the schema does not accept null, the member is reported as missing.
  void check(const Nodes& parts, const json::value& value, const std::string& path, As as) {
    const auto rejects = [&](const Node* part) { return !part->accepts(value); };
    if (const auto part = std::find_if(parts.begin(), parts.end(), rejects); part != parts.end()) {
      if (as == As::member && value.is_null()) return _missing(parts, path);
      const auto& expected = (*part)->mustBe.empty() ? _mustBe(parts) : (*part)->mustBe;
      _report.errors.push_back((path.empty() ? "the file" : path) + ": must be " + expected + ", not " +
                               shortForm(value));
    } else if (const auto* object = value.if_object()) {
      _checkMembers(parts, *object, path);
    } else if (const auto* array = value.if_array()) {
      _checkElements(parts, *array, path);
    }
  }

 private:
  void _checkMembers(const Nodes& parts, const json::object& object, const std::string& path) {
    for (const auto& [key, value] : object) {
      const auto schemas = _partsOfMember(parts, key);
      if (!schemas.empty()) {
        check(schemas, value, memberOf(path, key), As::member);
      } else if (std::any_of(parts.begin(), parts.end(), [](auto* part) { return !part->properties.empty(); })) {
        _report.warnings.push_back(memberOf(path, key) + ": unknown key");
      }
    }
    for (const auto* part : parts) {
      for (const auto& key : part->required) {
        if (!object.contains(key)) _missing(_partsOfMember(parts, key), memberOf(path, key));
      }
    }
  }

  void _checkElements(const Nodes& parts, const json::array& array, const std::string& path) {
    Nodes schemas;
    for (const auto* part : parts) {
      if (part->items) schemas.insert(schemas.end(), part->items->parts.begin(), part->items->parts.end());
    }
    for (std::size_t i = 0; i < array.size(); ++i) check(schemas, array[i], elementOf(path, i), As::element);
  }

  static Nodes _partsOfMember(const Nodes& parts, std::string_view key) {
    Nodes all;
    for (const auto* part : parts) {
      const auto found = part->properties.find(key);
      const auto* schema = found == part->properties.end() ? part->additionalProperties : found->second;
      if (schema) all.insert(all.end(), schema->parts.begin(), schema->parts.end());
    }
    return all;
  }

  static const std::string& _mustBe(const Nodes& parts) {
    static const std::string other = "something else";
    const auto hasMustBe = [](const Node* part) { return !part->mustBe.empty(); };
    const auto part = std::find_if(parts.begin(), parts.end(), hasMustBe);
    return part == parts.end() ? other : (*part)->mustBe;
  }

  void _missing(const Nodes& parts, const std::string& path) {
    _report.errors.push_back(path + ": is missing: must be " + _mustBe(parts));
  }

  CampaignReport& _report;
};

JsonSchema::JsonSchema(std::string_view text) {
  const auto source = json::parse(text);
  _root = Compiler(source, _nodes).compile(source);
}

JsonSchema::~JsonSchema() = default;

void JsonSchema::check(const json::value& value, CampaignReport& report) const {
  Walk(report).check(_root->parts, value, "", Walk::As::element);
}

}  // namespace oq::server
