// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <boost/json/fwd.hpp>
#include <memory>
#include <string_view>
#include <vector>

#include "CampaignParser.h"

namespace oq::server {

// A JSON Schema (draft 7) for checking values. It supports the keywords that the schema of campaign files uses, and
// refuses a schema with any other keyword, so that no keyword is silently ignored. One keyword is our own: "mustBe"
// describes the expected value for error messages. Immutable, so any thread may use it.
class JsonSchema {
 public:
  // Throws std::logic_error if `text` is not a schema or contains an unknown keyword.
  explicit JsonSchema(std::string_view text);
  ~JsonSchema();

  // Reports one error for each wrong value (its members and elements are then not checked), and a warning for each key
  // that the schema does not contain.
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
