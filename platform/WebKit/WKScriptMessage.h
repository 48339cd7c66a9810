#pragma once

#include <string>

#include "oqsdk/Value.h"

namespace oq {

/// What a script of a page posted, and under which handler's name.
struct WKScriptMessage {
  std::string name;
  Value body;
};

class WKScriptMessageHandler {
 public:
  virtual void didReceiveScriptMessage(const WKScriptMessage& message) = 0;

 protected:
  ~WKScriptMessageHandler() = default;
};

}  // namespace oq
