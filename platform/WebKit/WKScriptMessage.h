// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "Foundation/Values/JSONValue.h"

namespace oq {

/// A message that a page's script posted, and the name of the handler that the script posted it to.
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
