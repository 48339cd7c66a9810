// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Views/UIScrollView.h"

namespace oq {

/// The page of OQDiagnosticsPanel. At run time it has the class of a plain view controller, so that it is not reported
/// as a page of the host. Main thread only.
class OQDiagnosticsController : public UIViewController {
 public:
  OQDiagnosticsController();

 protected:
  std::shared_ptr<UIView> loadView() override;

 private:
  class Sheet;
  std::shared_ptr<UIView> makeHeader(double width);
  void layOut();
  void refresh();
  void close();

  std::shared_ptr<UIView> _sheet;
  std::shared_ptr<UIScrollView> _scroller;
};

}  // namespace oq
