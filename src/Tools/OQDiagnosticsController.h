#pragma once

#include <memory>

#include "UIKit/Controllers/UIViewController.h"
#include "UIKit/Views/UIScrollView.h"

namespace oq {

/// The page behind OQDiagnosticsPanel. At run time it is a plain view controller, so that it is no page of
/// the host's. Main thread only.
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
