// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace oq {

/// Opens the links of messages.
class OQLinks {
 public:
  /// Opens the link in an OQWebController if the host can show web pages, otherwise in the system's browser. Has no
  /// effect while consent is missing. Main queue only; does not wait for the browser.
  static void open(const std::string& url);
};

}  // namespace oq
