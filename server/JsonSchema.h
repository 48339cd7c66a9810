#pragma once

#include <boost/json/fwd.hpp>
#include <memory>
#include <string_view>
#include <vector>

#include "CampaignParser.h"

namespace oq::server {

// A JSON Schema (draft 7) that values are held against. It understands the keywords that the campaign file's
// schema has, and refuses a schema with any other one, so that a schema says nothing that is not enforced.
// One keyword is our own: "mustBe" is what a report says of a wrong value. Immutable; any thread may use it.
class JsonSchema {
 public:
  // Throws std::logic_error when the text is no schema, or one with a keyword that is not known here.
  explicit JsonSchema(std::string_view text);
  ~JsonSchema();

  // Reports an error for each wrong place (one a place, and none below it), and a warning for each key that
  // the schema does not name.
  void check(const boost::json::value& value, CampaignReport& report) const;

 private:
  struct Node;
  using Nodes = std::vector<const Node*>;
  class Compiler;
  class Walk;

  std::vector<std::unique_ptr<Node>> _nodes;
  const Node* _root = nullptr;
};

}  // namespace oq::server
