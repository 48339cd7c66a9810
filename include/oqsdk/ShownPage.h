// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "oqsdk/Export.h"

namespace oq {

/// Capitalises each word, removes what separates words (ASCII characters other than letters and digits), and appends
/// "Page" unless it is there: "cart" becomes "CartPage", "new-arrivals" becomes "NewArrivalsPage". "FrontPage" and ""
/// stay as they are.
OQSDK_EXPORT std::string pageClassName(const std::string& name);

/// Reports a page of the host: the page appears when the object is constructed and disappears when the object is
/// destroyed. For the library, the page is a view controller whose class has the given name; this class is registered
/// when it is first needed. Use ShownPage after TorvelinOqManager::startWithConfig(), on the main thread only.
class OQSDK_EXPORT ShownPage {
 public:
  /// `className` is used unchanged. "" and the name of a class that is not a page have no effect.
  explicit ShownPage(const std::string& className);
  /// The page disappears.
  ~ShownPage();
  ShownPage(const ShownPage&) = delete;
  ShownPage& operator=(const ShownPage&) = delete;

 private:
  class Controller;
  std::shared_ptr<Controller> _controller;
};

}  // namespace oq
