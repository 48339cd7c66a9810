// SPDX-License-Identifier: Apache-2.0
#include <charconv>
#include <cmath>
#include <cstdio>

#include "Foundation/PropertyLists/XMLPropertyList.h"
#include "Foundation/Values/Base64.h"

namespace oq::plist {
namespace {

// References may share nodes, so a small table could expand without limit.
constexpr std::size_t kMaximumSize = 64u << 20;

constexpr const char* kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

/// XML does not allow U+FFFE, U+FFFF and control characters other than tab and line ends, not even escaped.
bool isXMLText(std::string_view text) {
  if (!isValidUTF8(text)) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    auto c = static_cast<unsigned char>(text[i]);
    if (c < 0x20 && c != '\t' && c != '\n' && c != '\r') return false;
    if (c == 0xEF && text.substr(i + 1, 1) == "\xBF" && text.substr(i + 2, 1) >= "\xBE") return false;
  }
  return true;
}

std::string textOfReal(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "+infinity" : "-infinity";
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, number).ptr);
}

std::string textOfDate(Date date) {
  using namespace std::chrono;
  auto second = floor<seconds>(date);
  auto midnight = floor<days>(second);
  year_month_day day(midnight);
  hh_mm_ss time(second - midnight);
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()));
  return text;
}

class XMLWriter {
 public:
  explicit XMLWriter(const Table& table) : _table(table), _text(kHead) {}

  std::optional<Data> write(std::string* reason) {
    if (writeNode(_table.root, 0)) return dataFromString(_text + "</plist>\n");
    if (reason) *reason = _reason;
    return std::nullopt;
  }

 private:
  bool writeNode(Ref ref, std::size_t depth) {
    if (ref >= _table.nodes.size()) return fail("A reference leads nowhere.");
    if (depth > kMaximumXMLDepth) return fail("The property list is nested too deeply.");
    if (_text.size() > kMaximumSize) return fail("The property list is too large.");
    return std::visit([&](const auto& node) { return writeKind(node, depth); }, _table.nodes[ref]);
  }

  bool writeKind(const NullNode&, std::size_t) { return fail("A property list cannot hold null."); }
  bool writeKind(const Uid&, std::size_t) { return fail("The XML format has no UIDs."); }
  bool writeKind(bool truth, std::size_t depth) { return line(depth, truth ? "<true/>" : "<false/>"); }
  bool writeKind(std::int64_t number, std::size_t depth) { return element(depth, "integer", std::to_string(number)); }
  bool writeKind(std::uint64_t number, std::size_t depth) { return element(depth, "integer", std::to_string(number)); }
  bool writeKind(const RealNode& real, std::size_t depth) { return element(depth, "real", textOfReal(real.value)); }
  bool writeKind(const Date& date, std::size_t depth) { return element(depth, "date", textOfDate(date)); }
  bool writeKind(const Data& data, std::size_t depth) { return element(depth, "data", base64EncodedString(data)); }
  bool writeKind(const std::string& text, std::size_t depth) { return writeText(depth, "string", text); }

  bool writeKind(const ArrayNode& array, std::size_t depth) {
    line(depth, "<array>");
    for (Ref item : array.items) {
      if (!writeNode(item, depth + 1)) return false;
    }
    return line(depth, "</array>");
  }

  bool writeKind(const DictNode& dictionary, std::size_t depth) {
    if (dictionary.keys.size() != dictionary.values.size()) return fail("A key has no value.");
    line(depth, "<dict>");
    for (std::size_t i = 0; i < dictionary.keys.size(); ++i) {
      Ref key = dictionary.keys[i];
      auto* name = key < _table.nodes.size() ? std::get_if<std::string>(&_table.nodes[key]) : nullptr;
      if (!name) return fail("A key is not a string.");
      if (!writeText(depth + 1, "key", *name) || !writeNode(dictionary.values[i], depth + 1)) return false;
    }
    return line(depth, "</dict>");
  }

  bool writeText(std::size_t depth, const char* name, const std::string& text) {
    if (!isXMLText(text)) return fail("A string has characters that XML cannot hold.");
    std::string escaped;
    for (char c : text) {
      if (c == '&') {
        escaped += "&amp;";
      } else if (c == '<') {
        escaped += "&lt;";
      } else if (c == '>') {
        escaped += "&gt;";
      } else if (c == '\r') {
        escaped += "&#13;";  // an unescaped carriage return would be read as a line feed
      } else {
        escaped.push_back(c);
      }
    }
    return element(depth, name, escaped);
  }

  bool element(std::size_t depth, const std::string& name, const std::string& content) {
    return line(depth, "<" + name + ">" + content + "</" + name + ">");
  }
  bool line(std::size_t depth, const std::string& content) {
    _text.append(depth, '\t').append(content).push_back('\n');
    return true;
  }
  bool fail(const char* reason) {
    _reason = reason;
    return false;
  }

  const Table& _table;
  std::string _text;
  const char* _reason = "";
};

}  // namespace

std::optional<Data> writeXML(const Table& table, std::string* reason) {
  return XMLWriter(table).write(reason);
}

}  // namespace oq::plist
