#pragma once

#include <string>

#include "Foundation/Values/JSONValue.h"

namespace oq {

/// What a script of a page posted, and under which handler's name.
struct WKScriptMessage {
  std::string name;
  JSONValue body;
};

class WKScriptMessageHandler {
 public:
  virtual void didReceiveScriptMessage(const WKScriptMessage& message) = 0;

 protected:
  ~WKScriptMessageHandler() = default;
};

}  // namespace oq
